#include "vorn/deleter.h"

#include "statement/text_concat.h"
#include "vorn/keywords.h"

CVORNDeleter::~CVORNDeleter() = default;

CVORNTable CVORNDeleter::table(const std::string& name) {
    // A deleter names exactly one table: the list starts over on every call.
    m_tableList.clear();
    CVORNTable named(name);
    constructAttachAndDetachSQL(named);
    return named;
}

void CVORNDeleter::where(const CVORNCriterion& condition) {
    m_where = vorn::detail::concat({vorn::sql::kWhere, condition.m_text.view()});
}

std::string CVORNDeleter::toString() const {
    return vorn::detail::concat(
        {m_attachSQL, vorn::sql::kDeleteFrom, m_tableList, m_where, m_detachSQL});
}

void CVORNDeleter::clear() {
    // The table stays: a cleared deleter still targets it.
    m_where.clear();
    m_attachSQL.clear();
    m_detachSQL.clear();
}

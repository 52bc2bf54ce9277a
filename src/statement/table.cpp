#include <utility>

#include "statement/escaping.h"
#include "vorn/base.h"
#include "vorn/criterion.h"

CVORNTable::CVORNTable(const std::string& name) : m_tableName(name) {}

std::string CVORNTable::getTableName() const {
    return m_tableName;
}

CVORNColumn CVORNTable::column(const std::string& columnName) const {
    return CVORNColumn(m_tableName, columnName);
}

CVORNCriterionItem CVORNTable::operator[](const std::string& columnName) const {
    // Without a table name the column is dropped as well: callers always name
    // the table here.
    if (m_tableName.empty()) {
        return CVORNCriterionItem(std::string());
    }
    std::string text;
    text.reserve(m_tableName.size() + 1 + columnName.size());
    text.append(m_tableName).append(1, '.');
    vorn::detail::appendEscaped(text, columnName);
    return CVORNCriterionItem(std::move(text));
}

#include "vorn/base.h"

CVORNColumn::CVORNColumn(const std::string& tableName, const std::string& columnName)
    : m_tableName(tableName), m_columnName(columnName) {}

std::string CVORNColumn::getTableName() const {
    return m_tableName;
}

std::string CVORNColumn::getColumnName() const {
    // The column's suffix in its qualified form; an unqualified column has none.
    if (m_tableName.empty()) {
        return std::string();
    }
    std::string suffix;
    suffix.reserve(1 + m_columnName.size());
    suffix.append(1, '.').append(m_columnName);
    return suffix;
}

std::string CVORNColumn::toString() const {
    if (m_tableName.empty()) {
        return std::string();
    }
    std::string text;
    text.reserve(m_tableName.size() + 1 + m_columnName.size());
    text.append(m_tableName).append(1, '.').append(m_columnName);
    return text;
}

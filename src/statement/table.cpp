#include <utility>

#include "statement/escaping.h"
#include "statement/text_concat.h"
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
    CVORNCriterionItem item;
    if (!m_tableName.empty()) {
        std::string storage;
        vorn::detail::appendConcat(item.m_text,
                                   {m_tableName, ".", vorn::detail::escaped(columnName, storage)});
    }
    return item;
}

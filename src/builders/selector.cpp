#include "vorn/selector.h"

#include <string_view>

#include "statement/escaping.h"
#include "statement/number_text.h"
#include "statement/text_concat.h"
#include "vorn/keywords.h"

using vorn::detail::appendConcat;
using vorn::detail::concat;
using vorn::detail::DecimalText;
using vorn::detail::escaped;

namespace {

std::string_view compoundFragment(ENUM_COMPOUND_OP op) {
    switch (op) {
        case COMPOUND_UNION_ALL:
            return " UNION ALL ";
        case COMPOUND_INTERSECT:
            return " INTERSECT ";
        case COMPOUND_EXCEPT:
            return " EXCEPT ";
        default:
            // COMPOUND_UNION, and any value outside the enumeration.
            return " UNION ";
    }
}

}  // namespace

CVORNSelector::~CVORNSelector() = default;

CVORNTable CVORNSelector::table(const std::string& name) {
    CVORNTable named(name);
    constructAttachAndDetachSQL(named);
    return named;
}

void CVORNSelector::select(const std::string& column) {
    std::string storage;
    appendConcat(m_columns, {m_columns.empty() ? "" : ",", escaped(column, storage)});
}

void CVORNSelector::select(const CVORNColumn& column) {
    select(column.toString());
}

CVORNSelector& CVORNSelector::operator<<(const CVORNCriterionItem& item) {
    select(item.toString());
    return *this;
}

void CVORNSelector::distinct() {
    m_distinct.assign(vorn::sql::kDistinct);
}

void CVORNSelector::orderBy(const std::string& column, bool ascending) {
    std::string storage;
    // Ascending is the engine's default and is never written.
    appendConcat(m_orderBy, {m_orderBy.empty() ? vorn::sql::kOrderBy : ",",
                             escaped(column, storage), ascending ? "" : vorn::sql::kDesc});
}

void CVORNSelector::orderBy(const CVORNColumn& column, bool ascending) {
    orderBy(column.toString(), ascending);
}

void CVORNSelector::where(const CVORNCriterion& condition) {
    m_where = concat({vorn::sql::kWhere, condition.m_text});
}

void CVORNSelector::limit(unsigned int count, unsigned int offset) {
    m_limit =
        concat({vorn::sql::kLimit, DecimalText(count), vorn::sql::kOffset, DecimalText(offset)});
}

void CVORNSelector::compound(const CVORNSelector& other, ENUM_COMPOUND_OP op) {
    // Rendered before m_compound changes: other may be this selector itself.
    const CVORNBase& statement = other;
    const std::string text = statement.toString();
    m_compound.assign(compoundFragment(op)).append(text);
}

std::string CVORNSelector::toString() const {
    const std::string_view columns =
        m_columns.empty() ? vorn::sql::kStar : std::string_view(m_columns);
    return concat({m_attachSQL, vorn::sql::kSelect, m_distinct, columns, vorn::sql::kFrom,
                   m_tableList, m_where, m_compound, m_orderBy, m_limit, m_detachSQL});
}

void CVORNSelector::clear() {
    // The table list stays: a cleared selector reads from the same tables.
    m_columns.clear();
    m_orderBy.clear();
    m_where.clear();
    m_distinct.clear();
    m_attachSQL.clear();
    m_detachSQL.clear();
    m_limit.clear();
    m_compound.clear();
}

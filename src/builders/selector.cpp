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
using namespace std::string_view_literals;

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
    appendConcat(m_columns, {m_columns.empty() ? ""sv : ","sv, escaped(column, storage)});
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
    // The clause starts at the first call whatever its key, even an empty
    // one; ascending is the engine's default and is never written.
    appendConcat(m_orderBy, {m_hasOrderBy ? ","sv : ""sv, escaped(column, storage),
                             ascending ? ""sv : vorn::sql::kDesc});
    m_hasOrderBy = true;
}

void CVORNSelector::orderBy(const CVORNColumn& column, bool ascending) {
    orderBy(column.toString(), ascending);
}

void CVORNSelector::where(const CVORNCriterion& condition) {
    // A condition with empty text still writes " where ".
    m_where = condition.m_text;
    m_hasWhere = true;
}

void CVORNSelector::limit(unsigned int count, unsigned int offset) {
    m_limitCount = count;
    m_limitOffset = offset;
    m_hasLimit = true;
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
    const std::string_view where = m_hasWhere ? vorn::sql::kWhere : std::string_view();
    const std::string_view orderBy = m_hasOrderBy ? vorn::sql::kOrderBy : std::string_view();
    const std::string_view limit = m_hasLimit ? vorn::sql::kLimit : std::string_view();
    const std::string_view offset = m_hasLimit ? vorn::sql::kOffset : std::string_view();
    const DecimalText count(m_limitCount);
    const DecimalText start(m_limitOffset);
    return concat({m_attachSQL, vorn::sql::kSelect, m_distinct, columns, vorn::sql::kFrom,
                   m_tableList, where, m_where.view(), m_compound, orderBy, m_orderBy, limit,
                   m_hasLimit ? std::string_view(count) : std::string_view(), offset,
                   m_hasLimit ? std::string_view(start) : std::string_view(), m_detachSQL});
}

void CVORNSelector::clear() {
    // The table list stays: a cleared selector reads from the same tables.
    m_columns.clear();
    m_orderBy.clear();
    m_where.clear();
    m_distinct.clear();
    m_attachSQL.clear();
    m_detachSQL.clear();
    m_hasWhere = false;
    m_hasOrderBy = false;
    m_hasLimit = false;
    m_compound.clear();
}

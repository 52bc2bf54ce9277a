#include "vorn/selector.h"

#include <string_view>

#include "statement/escaping.h"
#include "statement/number_text.h"
#include "vorn/keywords.h"
#include "vorn/platform/safe_c.h"

using vorn::detail::appendEscaped;

namespace {

// Lines reported when printing the LIMIT count and the OFFSET.
constexpr int kLimitCountLine = 158;
constexpr int kLimitOffsetLine = 164;

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
    if (!m_columns.empty()) {
        m_columns.push_back(',');
    }
    appendEscaped(m_columns, column);
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
    if (m_orderBy.empty()) {
        m_orderBy.assign(vorn::sql::kOrderBy);
    } else {
        m_orderBy.push_back(',');
    }
    appendEscaped(m_orderBy, column);
    // Ascending is the engine's default and is never written.
    if (!ascending) {
        m_orderBy.append(vorn::sql::kDesc);
    }
}

void CVORNSelector::orderBy(const CVORNColumn& column, bool ascending) {
    orderBy(column.toString(), ascending);
}

void CVORNSelector::where(const CVORNCriterion& condition) {
    m_where.assign(vorn::sql::kWhere).append(condition.toString());
}

void CVORNSelector::limit(unsigned int count, unsigned int offset) {
    using vorn::detail::FormatSite;
    using vorn::detail::kNumberBufferSize;
    using vorn::detail::kNumberMaxChars;
    static constexpr std::string_view kMessage = "CVORNSelector::limit.snprintf_s failed";

    std::string limitText;
    limitText.reserve(vorn::sql::kLimit.size() + vorn::sql::kOffset.size() + 20);
    limitText.append(vorn::sql::kLimit);
    // One buffer, zero-filled once, serves both numbers.
    char buffer[kNumberBufferSize] = {};
    int written =
        vorn::platform::snprintf_s(buffer, kNumberBufferSize, kNumberMaxChars, "%u", count);
    vorn::detail::appendNumber(limitText, buffer, written,
                               FormatSite{"CVORNSelector", "limit", kLimitCountLine, kMessage});
    limitText.append(vorn::sql::kOffset);
    written = vorn::platform::snprintf_s(buffer, kNumberBufferSize, kNumberMaxChars, "%u", offset);
    vorn::detail::appendNumber(limitText, buffer, written,
                               FormatSite{"CVORNSelector", "limit", kLimitOffsetLine, kMessage});
    m_limit.swap(limitText);
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
    std::string sql;
    sql.reserve(m_attachSQL.size() + vorn::sql::kSelect.size() + m_distinct.size() +
                columns.size() + vorn::sql::kFrom.size() + m_tableList.size() + m_where.size() +
                m_compound.size() + m_orderBy.size() + m_limit.size() + m_detachSQL.size());
    sql.append(m_attachSQL)
        .append(vorn::sql::kSelect)
        .append(m_distinct)
        .append(columns)
        .append(vorn::sql::kFrom)
        .append(m_tableList)
        .append(m_where)
        .append(m_compound)
        .append(m_orderBy)
        .append(m_limit)
        .append(m_detachSQL);
    return sql;
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

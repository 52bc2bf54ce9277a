#include "vorn/updater.h"

#include <stdexcept>
#include <string_view>

#include "statement/escaping.h"
#include "statement/number_text.h"
#include "vorn/keywords.h"
#include "vorn/platform/safe_c.h"
#include "vorn/sqlite_util.h"

using vorn::detail::FormatSite;

namespace {

constexpr std::string_view kAssignMessage = "CVORNUpdater::assign.snprintf_s failed";

// Each assign overload reports its formatting failure from its own line.
constexpr FormatSite siteAt(int line) {
    return FormatSite{"CVORNUpdater", "assign", line, kAssignMessage};
}
constexpr FormatSite kShortSite = siteAt(106);
constexpr FormatSite kIntSite = siteAt(121);
constexpr FormatSite kUnsignedIntSite = siteAt(141);
constexpr FormatSite kUnsignedLongSite = siteAt(160);
constexpr FormatSite kLongSite = siteAt(175);
constexpr FormatSite kFloatSite = siteAt(190);
constexpr FormatSite kDoubleSite = siteAt(205);

// Unsigned values from 4294967295 up are written as 0.
constexpr unsigned long kUnsignedClamp = 4294967295UL;

}  // namespace

CVORNUpdater::CVORNUpdater() : m_update(vorn::sql::kUpdate) {}

CVORNUpdater::~CVORNUpdater() = default;

CVORNTable CVORNUpdater::table(const std::string& name) {
    m_table = name;
    return CVORNTable(name);
}

CVORNUpdater& CVORNUpdater::operator[](const std::string& column) {
    if (m_setList.empty()) {
        m_setList.assign(vorn::sql::kSet);
    } else {
        m_setList.push_back(',');
    }
    vorn::detail::appendEscaped(m_setList, column);
    return *this;
}

// The separator before a column belongs to operator[]; assign appends only
// "=" and the value.

void CVORNUpdater::assign(const std::string& value) {
    m_setList.append("='");
    vorn::detail::appendEscapedValue(m_setList, value);
    m_setList.push_back('\'');
}

void CVORNUpdater::assign(const char& value) {
    m_setList.append("='");
    m_setList.append(CSQLiteUtil::getInstance()->replaceSpecialChar(value));
    m_setList.push_back('\'');
}

void CVORNUpdater::assign(const char* value) {
    m_setList.append("='");
    // As std::string(nullptr) would: "='" stays in the set list.
    if (value == nullptr) {
        throw std::logic_error("basic_string::_M_construct null not valid");
    }
    vorn::detail::appendEscapedValue(m_setList, std::string_view(value));
    m_setList.push_back('\'');
}

void CVORNUpdater::assign(const short& value) {
    vorn::detail::appendFormatted(m_setList, kShortSite, "=%d", value);
}

void CVORNUpdater::assign(const int& value) {
    vorn::detail::appendFormatted(m_setList, kIntSite, "=%d", value);
}

void CVORNUpdater::assign(const unsigned int& value) {
    // Unlike the inserter, the unsigned format: 3000000000 stays 3000000000.
    const unsigned long wide = value == kUnsignedClamp ? 0UL : value;
    vorn::detail::appendFormatted(m_setList, kUnsignedIntSite, "=%lu", wide);
}

void CVORNUpdater::assign(const unsigned long& value) {
    const unsigned long clamped = value >= kUnsignedClamp ? 0UL : value;
    vorn::detail::appendFormatted(m_setList, kUnsignedLongSite, "=%lu", clamped);
}

void CVORNUpdater::assign(const long& value) {
    vorn::detail::appendFormatted(m_setList, kLongSite, "=%ld", value);
}

void CVORNUpdater::assign(const float& value) {
    vorn::detail::appendFormatted(m_setList, kFloatSite, "=%f", static_cast<double>(value));
}

void CVORNUpdater::assign(const double& value) {
    vorn::detail::appendFormatted(m_setList, kDoubleSite, "=%f", value);
}

void CVORNUpdater::assign(const CVORNNull& /*value*/) {
    m_setList.append("=NULL");
}

void CVORNUpdater::where(const CVORNCriterion& condition) {
    m_where.assign(vorn::sql::kWhere).append(condition.toString());
}

std::string CVORNUpdater::toString() const {
    std::string sql;
    sql.reserve(m_update.size() + m_table.size() + m_setList.size() + m_where.size());
    sql.append(m_update).append(m_table).append(m_setList).append(m_where);
    return sql;
}

void CVORNUpdater::clear() {
    // Not the constructed state: the condition becomes a bare " where ", which
    // a following where() call replaces. The table stays.
    m_update.assign(vorn::sql::kUpdate);
    m_setList.clear();
    m_where.assign(vorn::sql::kWhere);
}

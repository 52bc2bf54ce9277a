#include "vorn/updater.h"

#include <stdexcept>
#include <string_view>

#include "statement/escaping.h"
#include "statement/number_text.h"
#include "statement/text_concat.h"
#include "vorn/keywords.h"
#include "vorn/sqlite_util.h"

using vorn::detail::appendConcat;
using vorn::detail::concat;
using vorn::detail::DecimalText;
using vorn::detail::escaped;
using vorn::detail::escapedValue;
using vorn::detail::FormatSite;

namespace {

constexpr std::string_view kAssignMessage = "CVORNUpdater::assign.snprintf_s failed";

// Each floating point assign reports its formatting failure from its own line.
constexpr FormatSite siteAt(int line) {
    return FormatSite{"CVORNUpdater", "assign", line, kAssignMessage};
}
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
    std::string storage;
    appendConcat(m_setList, {m_setList.empty() ? vorn::sql::kSet : ",", escaped(column, storage)});
    return *this;
}

// The separator before a column belongs to operator[]; assign appends only
// "=" and the value.

void CVORNUpdater::assign(const std::string& value) {
    std::string storage;
    appendConcat(m_setList, {"='", escapedValue(value, storage), "'"});
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
    appendConcat(m_setList, {"=", DecimalText(value)});
}

void CVORNUpdater::assign(const int& value) {
    appendConcat(m_setList, {"=", DecimalText(value)});
}

void CVORNUpdater::assign(const unsigned int& value) {
    // Unlike the inserter, the unsigned format: 3000000000 stays 3000000000.
    const unsigned long wide = value == kUnsignedClamp ? 0UL : value;
    appendConcat(m_setList, {"=", DecimalText(wide)});
}

void CVORNUpdater::assign(const unsigned long& value) {
    const unsigned long clamped = value >= kUnsignedClamp ? 0UL : value;
    appendConcat(m_setList, {"=", DecimalText(clamped)});
}

void CVORNUpdater::assign(const long& value) {
    appendConcat(m_setList, {"=", DecimalText(value)});
}

void CVORNUpdater::assign(const float& value) {
    vorn::detail::appendFixed(m_setList, kFloatSite, "=", static_cast<double>(value));
}

void CVORNUpdater::assign(const double& value) {
    vorn::detail::appendFixed(m_setList, kDoubleSite, "=", value);
}

void CVORNUpdater::assign(const CVORNNull& /*value*/) {
    m_setList.append("=NULL");
}

void CVORNUpdater::where(const CVORNCriterion& condition) {
    m_where = concat({vorn::sql::kWhere, condition.m_text.view()});
}

std::string CVORNUpdater::toString() const {
    return concat({m_update, m_table, m_setList, m_where});
}

void CVORNUpdater::clear() {
    // Not the constructed state: the condition becomes a bare " where ", which
    // a following where() call replaces. The table stays.
    m_update.assign(vorn::sql::kUpdate);
    m_setList.clear();
    m_where.assign(vorn::sql::kWhere);
}

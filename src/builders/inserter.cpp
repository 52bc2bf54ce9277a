#include "vorn/inserter.h"

#include <stdexcept>

#include "statement/escaping.h"
#include "statement/number_text.h"
#include "vorn/keywords.h"
#include "vorn/platform/safe_c.h"
#include "vorn/sqlite_util.h"

using vorn::detail::FormatSite;

namespace {

// Every number of the inserter reports its formatting failure from here.
constexpr FormatSite kSetValueSite{"CVORNInserter", "SetValue", 33,
                                   "CVORNInserter::operator<<.snprintf_s failed"};

// Unsigned values from 4294967295 up are written as 0.
constexpr unsigned long kUnsignedClamp = 4294967295UL;

}  // namespace

CVORNInserter::CVORNInserter() : m_insertInto(vorn::sql::kInsertInto) {}

CVORNInserter::~CVORNInserter() = default;

CVORNTable CVORNInserter::table(const std::string& name) {
    m_table = name;
    return CVORNTable(name);
}

CVORNInserter& CVORNInserter::operator[](const std::string& column) {
    if (m_columns.empty()) {
        m_columns.assign(" (");
    } else {
        m_columns.push_back(',');
    }
    vorn::detail::appendEscaped(m_columns, column);
    return *this;
}

void CVORNInserter::beginValue() {
    if (m_values.empty()) {
        m_values.assign(vorn::sql::kValues);
    } else {
        m_values.push_back(',');
    }
}

CVORNInserter& CVORNInserter::operator<<(const CVORNNull& /*value*/) {
    beginValue();
    m_values.append("NULL");
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const bool& value) {
    // A boolean is written as 1 or 0, never as TRUE/FALSE.
    beginValue();
    vorn::detail::appendFormatted(m_values, kSetValueSite, "%d", static_cast<int>(value));
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const char& value) {
    beginValue();
    m_values.push_back('\'');
    m_values.append(CSQLiteUtil::getInstance()->replaceSpecialChar(value));
    m_values.push_back('\'');
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const char* value) {
    beginValue();
    m_values.push_back('\'');
    // As std::string(nullptr) would: the separator and the opening quote stay.
    if (value == nullptr) {
        throw std::logic_error("basic_string::_M_construct null not valid");
    }
    vorn::detail::appendEscapedValue(m_values, std::string_view(value));
    m_values.push_back('\'');
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const std::string& value) {
    beginValue();
    m_values.push_back('\'');
    vorn::detail::appendEscapedValue(m_values, value);
    m_values.push_back('\'');
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const short& value) {
    beginValue();
    vorn::detail::appendFormatted(m_values, kSetValueSite, "%d", value);
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const int& value) {
    beginValue();
    vorn::detail::appendFormatted(m_values, kSetValueSite, "%d", value);
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const unsigned short& value) {
    beginValue();
    vorn::detail::appendFormatted(m_values, kSetValueSite, "%d", static_cast<int>(value));
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const unsigned int& value) {
    beginValue();
    unsigned long wide = value;
    if (wide == kUnsignedClamp) {
        wide = 0;
    }
    // Written with the signed format: 2147483648 to 4294967294 come out as
    // their negative 32-bit reading (3000000000 -> -1294967296).
    const auto asSigned = static_cast<int>(static_cast<unsigned int>(wide));
    vorn::detail::appendFormatted(m_values, kSetValueSite, "%d", asSigned);
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const unsigned long& value) {
    beginValue();
    const unsigned long clamped = value >= kUnsignedClamp ? 0UL : value;
    vorn::detail::appendFormatted(m_values, kSetValueSite, "%lu", clamped);
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const long& value) {
    beginValue();
    vorn::detail::appendFormatted(m_values, kSetValueSite, "%ld", value);
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const float& value) {
    beginValue();
    vorn::detail::appendFormatted(m_values, kSetValueSite, "%f", static_cast<double>(value));
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const double& value) {
    beginValue();
    vorn::detail::appendFormatted(m_values, kSetValueSite, "%f", value);
    return *this;
}

std::string CVORNInserter::toString() const {
    std::string sql;
    sql.reserve(m_insertInto.size() + m_table.size() + m_columns.size() + m_values.size() + 2);
    sql.append(m_insertInto).append(m_table);
    if (!m_columns.empty()) {
        sql.append(m_columns).append(1, ')');
    }
    // The closing parenthesis of the value list is written even without values.
    sql.append(m_values).append(1, ')');
    return sql;
}

void CVORNInserter::clear() {
    // The table stays: a cleared inserter inserts into the same table.
    m_columns.clear();
    m_values.clear();
}

#include "vorn/inserter.h"

#include <stdexcept>

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
using namespace std::string_view_literals;

namespace {

// A floating point value too long for its text reports the failure from here.
constexpr FormatSite kSetValueSite{"CVORNInserter", "SetValue", 33,
                                   "CVORNInserter::operator<<.snprintf_s failed"};

// Unsigned values from 4294967295 up are written as 0.
constexpr unsigned long kUnsignedClamp = 4294967295UL;

// Appends one value's pieces to the value list, after " values(" for the
// first value and "," for every later one (as beginValue() does).
void appendValue(std::string& values, std::string_view first, std::string_view second = {},
                 std::string_view third = {}) {
    appendConcat(values, {values.empty() ? vorn::sql::kValues : ",", first, second, third});
}

}  // namespace

CVORNInserter::CVORNInserter() : m_insertInto(vorn::sql::kInsertInto) {}

CVORNInserter::~CVORNInserter() = default;

CVORNTable CVORNInserter::table(const std::string& name) {
    m_table = name;
    return CVORNTable(name);
}

CVORNInserter& CVORNInserter::operator[](const std::string& column) {
    std::string storage;
    appendConcat(m_columns, {m_columns.empty() ? " ("sv : ","sv, escaped(column, storage)});
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
    appendValue(m_values, "NULL");
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const bool& value) {
    // A boolean is written as 1 or 0, never as TRUE/FALSE.
    appendValue(m_values, DecimalText(static_cast<int>(value)));
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
    std::string storage;
    appendValue(m_values, "'", escapedValue(value, storage), "'");
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const short& value) {
    appendValue(m_values, DecimalText(value));
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const int& value) {
    appendValue(m_values, DecimalText(value));
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const unsigned short& value) {
    appendValue(m_values, DecimalText(static_cast<int>(value)));
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const unsigned int& value) {
    unsigned long wide = value;
    if (wide == kUnsignedClamp) {
        wide = 0;
    }
    // Written with the signed format: 2147483648 to 4294967294 come out as
    // their negative 32-bit reading (3000000000 -> -1294967296).
    const auto asSigned = static_cast<int>(static_cast<unsigned int>(wide));
    appendValue(m_values, DecimalText(asSigned));
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const unsigned long& value) {
    const unsigned long clamped = value >= kUnsignedClamp ? 0UL : value;
    appendValue(m_values, DecimalText(clamped));
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const long& value) {
    appendValue(m_values, DecimalText(value));
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const float& value) {
    beginValue();
    vorn::detail::appendFixed(m_values, kSetValueSite, "", static_cast<double>(value));
    return *this;
}

CVORNInserter& CVORNInserter::operator<<(const double& value) {
    beginValue();
    vorn::detail::appendFixed(m_values, kSetValueSite, "", value);
    return *this;
}

std::string CVORNInserter::toString() const {
    // The closing parenthesis of the value list is written even without values.
    return concat(
        {m_insertInto, m_table, m_columns, m_columns.empty() ? ""sv : ")"sv, m_values, ")"});
}

void CVORNInserter::clear() {
    // The table stays: a cleared inserter inserts into the same table.
    m_columns.clear();
    m_values.clear();
}

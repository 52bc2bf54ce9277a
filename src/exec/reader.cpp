#include "vorn/reader.h"

#include <cfenv>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <string_view>
#include <type_traits>

#include "exec/dal/field_text.h"
#include "exec/diagnostics/call_record.h"
#include "vorn/keywords.h"

namespace {

using vorn::platform::DataSession;
using vorn::platform::FieldValue;
using vorn::platform::TypedRef;

// Formatted extraction as a standard string stream does it (leading blanks
// skipped, failure and overflow values as the stream sets them). One stream per
// thread is reused: constructing a stream per field would dominate the cost.
template <class T>
T streamExtract(const std::string& text) {
    thread_local std::istringstream stream;
    stream.clear();
    stream.str(text);
    T value{};
    stream >> value;
    return value;
}

// int and unsigned int read the boolean words of a boolean column as 0 and 1.
template <class T>
T extractIntegerOrBoolean(const std::string& text) {
    if (text == vorn::text::kFALSE || text == vorn::text::kFalse) {
        return 0;
    }
    if (text == vorn::text::kTRUE || text == vorn::text::kTrue) {
        return 1;
    }
    return streamExtract<T>(text);
}

// std::from_chars where it reads text exactly as the C functions the reader's
// contract names (strtol, strtoul, strtod) do, which is faster: a plain decimal
// starting with a digit or '-' and a digit, read to its end without a range
// error, under the default rounding. Anything else (blanks, '+', hexadecimal,
// words, trailing text, overflow) is left to the C function.
template <class T>
bool plainDecimal(const std::string& text, T& value) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    const char* const digits = begin != end && *begin == '-' ? begin + 1 : begin;
    if (digits == end || *digits < '0' || *digits > '9') {
        return false;
    }
    if constexpr (std::is_floating_point_v<T>) {
        if (std::fegetround() != FE_TONEAREST) {
            return false;  // strtod rounds as the caller set; from_chars does not
        }
    }
    T parsed{};
    const std::from_chars_result result = std::from_chars(begin, end, parsed);
    if (result.ec != std::errc() || result.ptr != end) {
        return false;
    }
    value = parsed;
    return true;
}

long textToLong(const std::string& text) {
    long value = 0;
    return plainDecimal(text, value) ? value : std::strtol(text.c_str(), nullptr, 10);
}

unsigned long textToUnsignedLong(const std::string& text) {
    unsigned long value = 0;
    return plainDecimal(text, value) ? value : std::strtoul(text.c_str(), nullptr, 10);
}

double textToDouble(const std::string& text) {
    double value = 0;
    return plainDecimal(text, value) ? value : std::strtod(text.c_str(), nullptr);
}

// A number the store handed as such goes to the target without its text where
// that gives exactly what the text's conversion gives; false leaves the field
// to the text path. Integers: strtol and strtoul read the decimal text of any
// 64-bit integer back as the same bits, and the stream reads a decimal in the
// target's range as that value (out of range it clamps and fails, which the
// text path keeps doing). Reals: strtod reads the shortest round-trip text
// back as the same double, under the default rounding (the caller may have set
// another). The rest (an INTEGER into double, a REAL into an integer, char and
// text targets) stays with the text.
static_assert(sizeof(long) == sizeof(std::int64_t), "long holds any 64-bit integer");

// An unsigned long takes every integer: strtoul reads a negative text as its
// 64-bit two's complement, which the cast gives too.
bool exactNumber(const FieldValue& field, unsigned long& value) {
    if (field.kind() != FieldValue::Kind::Integer) {
        return false;
    }
    value = static_cast<unsigned long>(field.integer());
    return true;
}

// The signed and narrower targets (long included) take the integers in their range.
template <class T>
bool exactNumber(const FieldValue& field, T& value) {
    static_assert(std::is_integral_v<T>, "only integer targets of the stream");
    if (field.kind() != FieldValue::Kind::Integer) {
        return false;
    }
    const std::int64_t number = field.integer();
    if (number < static_cast<std::int64_t>(std::numeric_limits<T>::min()) ||
        number > static_cast<std::int64_t>(std::numeric_limits<T>::max())) {
        return false;
    }
    value = static_cast<T>(number);
    return true;
}

bool exactReal(const FieldValue& field) {
    return field.kind() == FieldValue::Kind::Real && std::fegetround() == FE_TONEAREST;
}

bool exactNumber(const FieldValue& field, double& value) {
    if (!exactReal(field)) {
        return false;
    }
    value = field.real();
    return true;
}

bool exactNumber(const FieldValue& field, float& value) {
    if (!exactReal(field)) {
        return false;
    }
    value = static_cast<float>(field.real());
    return true;
}

bool exactNumber(const FieldValue& /*field*/, char& /*value*/) {
    return false;
}

}  // namespace

CVORNReader::CVORNReader() = default;

CVORNReader::~CVORNReader() {
    m_nullFlag = nullptr;
    CVORNReader::clear();
}

DataSession* CVORNReader::initializeSession(const std::string& sessionName) {
    if (m_session == nullptr) {
        m_session = new DataSession(sessionName.c_str());
    }
    return m_session;
}

bool CVORNReader::hasNextElement() {
    m_fetched = true;
    if (m_session == nullptr) {
        return false;
    }
    vorn::platform::ExecResult status;  // the fetch's own status is not reported
    // Numbers come as such; a field is turned into text only when read as text.
    const TypedRef target{
        vorn::platform::TypeDescriptor{
            vorn::platform::typecode::kRowTarget,
            vorn::platform::kFlagReference | vorn::platform::kFlagNumbersAsValues, nullptr},
        &m_row};
    const bool fetched = m_session->fetchRow(status, target, 100);
    if (fetched) {
        m_fieldIndex = 0;
        if (m_read) {
            m_read->countRow();
        }
    } else if (m_read) {
        m_read->finish(status);  // the end of the rows, or a failed fetch
        m_read.reset();
    }
    return fetched;
}

void CVORNReader::endRead() noexcept {
    if (m_read) {
        try {
            m_read->finish(vorn::platform::ExecResult());
        } catch (...) {  // NOLINT(bugprone-empty-catch): a lost record must not end the process
        }
        m_read.reset();
    }
}

void vorn::diag::ReadGate::endRead(CVORNReader& reader) noexcept {
    reader.endRead();
}

void vorn::diag::ReadGate::startRead(CVORNReader& reader,
                                     std::unique_ptr<PendingRead> read) noexcept {
    reader.m_read = std::move(read);
}

bool CVORNReader::operator()() {
    return hasNextElement();
}

std::string CVORNReader::getNextField() {
    if (!m_fetched && !hasNextElement()) {
        return std::string();
    }
    if (m_fieldIndex < m_row.size()) {
        // Each field is handed out once, so its text can be moved out of the row.
        FieldValue& field = m_row[m_fieldIndex++];
        vorn::dal::renderNumber(field);
        return field.take();
    }
    return std::string();
}

CVORNReader& CVORNReader::operator>>(CVORNNull& marker) {
    m_nullFlag = &marker.m_isNull;
    return *this;
}

bool CVORNReader::markNullIf(bool empty) {
    if (empty && m_nullFlag != nullptr) {
        *m_nullFlag = true;
    }
    m_nullFlag = nullptr;
    return empty;
}

template <class T, class Convert>
CVORNReader& CVORNReader::extract(T& value, Convert convert) {
    const bool rowReady = m_fetched || hasNextElement();
    if (rowReady && m_fieldIndex < m_row.size() && exactNumber(m_row[m_fieldIndex], value)) {
        ++m_fieldIndex;
        markNullIf(false);  // a number is never an empty field
        return *this;
    }
    const std::string text = rowReady ? getNextField() : std::string();
    // An empty field leaves the target as it was and marks a pending CVORNNull.
    if (!markNullIf(text.empty())) {
        value = convert(text);
    }
    return *this;
}

CVORNReader& CVORNReader::operator>>(char& value) {
    return extract(value, [](const std::string& text) { return text.front(); });
}

CVORNReader& CVORNReader::operator>>(short& value) {
    return extract(value, streamExtract<short>);
}

CVORNReader& CVORNReader::operator>>(unsigned short& value) {
    return extract(value, streamExtract<unsigned short>);
}

CVORNReader& CVORNReader::operator>>(int& value) {
    return extract(value, extractIntegerOrBoolean<int>);
}

CVORNReader& CVORNReader::operator>>(unsigned int& value) {
    return extract(value, extractIntegerOrBoolean<unsigned int>);
}

CVORNReader& CVORNReader::operator>>(long& value) {
    return extract(value, textToLong);
}

CVORNReader& CVORNReader::operator>>(unsigned long& value) {
    return extract(value, textToUnsignedLong);
}

CVORNReader& CVORNReader::operator>>(float& value) {
    return extract(value,
                   [](const std::string& text) { return static_cast<float>(textToDouble(text)); });
}

CVORNReader& CVORNReader::operator>>(double& value) {
    return extract(value, textToDouble);
}

CVORNReader& CVORNReader::operator>>(std::string& value) {
    value = getNextField();
    // The store writes a single blank for an empty text, so it reads as empty.
    if (value.size() == 1 && value[0] == ' ') {
        value.clear();
    }
    markNullIf(value.empty());
    return *this;
}

void CVORNReader::clear() noexcept {
    endRead();
    delete m_session;
    m_session = nullptr;
    m_row.clear();
    m_fieldIndex = 0;
    m_fetched = false;
}

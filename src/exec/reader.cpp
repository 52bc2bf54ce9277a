#include "vorn/reader.h"

#include <cstdlib>
#include <sstream>
#include <string_view>

#include "exec/diagnostics/call_record.h"
#include "vorn/keywords.h"

namespace {

using vorn::platform::DataSession;
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
    const TypedRef target{vorn::platform::TypeDescriptor{vorn::platform::typecode::kRowTarget,
                                                         vorn::platform::kFlagReference, nullptr},
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

bool CVORNReader::operator()() {
    return hasNextElement();
}

std::string CVORNReader::getNextField() {
    if (!m_fetched && !hasNextElement()) {
        return std::string();
    }
    if (m_fieldIndex < m_row.size()) {
        // Each field is handed out once, so its text can be moved out of the row.
        return m_row[m_fieldIndex++].take();
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
    const std::string text = getNextField();
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
    return extract(value,
                   [](const std::string& text) { return std::strtol(text.c_str(), nullptr, 10); });
}

CVORNReader& CVORNReader::operator>>(unsigned long& value) {
    return extract(value,
                   [](const std::string& text) { return std::strtoul(text.c_str(), nullptr, 10); });
}

CVORNReader& CVORNReader::operator>>(float& value) {
    return extract(value, [](const std::string& text) {
        return static_cast<float>(std::strtod(text.c_str(), nullptr));
    });
}

CVORNReader& CVORNReader::operator>>(double& value) {
    return extract(value,
                   [](const std::string& text) { return std::strtod(text.c_str(), nullptr); });
}

CVORNReader& CVORNReader::operator>>(std::string& value) {
    value = getNextField();
    // The store writes a single blank for an empty text, so it reads as empty.
    if (value == " ") {
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

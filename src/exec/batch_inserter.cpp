#include "vorn/batch_inserter.h"

#include <stdexcept>
#include <utility>

#include "exec/platform/string_helpers.h"
#include "vorn/keywords.h"
#include "vorn/platform/logger.h"

BatchInserter::~BatchInserter() = default;

CVORNTable BatchInserter::table(const std::string& name) {
    return CVORNBase::table(name);
}

void BatchInserter::clear() {
    // The table stays, so a cleared inserter collects the next batch for it.
    m_curColumn.clear();
    m_paramMap.clear();
}

BatchInserter& BatchInserter::operator[](const std::string& column) {
    m_curColumn = vorn::platform::escapeSingleQuotes(column);
    return *this;
}

std::string BatchInserter::toString() const {
    // insert into T (a, b) values({a}, {b}) -- columns in the map's byte-wise order.
    std::string columns;
    std::string values(") values(");
    columns.reserve(vorn::sql::kInsertInto.size() + m_table.size() + 2 + 16 * m_paramMap.size());
    values.reserve(values.size() + 18 * m_paramMap.size() + 1);
    columns.append(vorn::sql::kInsertInto).append(m_table).append(" (");
    std::string_view separator;
    for (const auto& entry : m_paramMap) {
        columns.append(separator).append(entry.first);
        values.append(separator).append(1, '{').append(entry.first).append(1, '}');
        separator = ", ";
    }
    values.append(1, ')');
    return columns.append(values);
}

void BatchInserter::GetParam(std::map<std::string, BaseTypeVector>& out) const {
    out = m_paramMap;
}

template <class T>
BatchInserter& BatchInserter::append(BaseTypeVector::Type type,
                                     std::vector<T> BaseTypeVector::*column, T value, int logLine) {
    const auto found = m_paramMap.find(m_curColumn);
    if (found == m_paramMap.end()) {
        BaseTypeVector fresh;
        fresh.m_type = type;
        (fresh.*column).push_back(std::move(value));
        m_paramMap.emplace(m_curColumn, std::move(fresh));
    } else if (found->second.m_type == type) {
        (found->second.*column).push_back(std::move(value));
    } else {
        // The column's first value fixed its type; this value is dropped.
        std::string text(vorn::text::kLogTag);
        text.append("typeName is error.");
        vorn::platform::Logger::error(
            type, vorn::platform::SourceLocation{"BatchInserter", "operator<<", logLine},
            vorn::platform::LogScrubber::scrub(text));
    }
    return *this;
}

BatchInserter& BatchInserter::operator<<(const bool& value) {
    return append<std::int64_t>(BaseTypeVector::TYPE_SIGNED, &BaseTypeVector::m_longVec,
                                value ? 1 : 0, 58);
}

BatchInserter& BatchInserter::operator<<(const std::string& value) {
    return append<std::string>(BaseTypeVector::TYPE_STRING, &BaseTypeVector::m_strVec, value, 70);
}

BatchInserter& BatchInserter::operator<<(const char* value) {
    if (value == nullptr) {
        throw std::logic_error("basic_string::_M_construct null not valid");
    }
    return *this << std::string(value);
}

BatchInserter& BatchInserter::operator<<(const short& value) {
    return append<std::int64_t>(BaseTypeVector::TYPE_SIGNED, &BaseTypeVector::m_longVec, value, 82);
}

BatchInserter& BatchInserter::operator<<(const unsigned short& value) {
    return append<std::uint64_t>(BaseTypeVector::TYPE_UNSIGNED, &BaseTypeVector::m_ulongVec, value,
                                 94);
}

BatchInserter& BatchInserter::operator<<(const int& value) {
    return append<std::int64_t>(BaseTypeVector::TYPE_SIGNED, &BaseTypeVector::m_longVec, value,
                                106);
}

BatchInserter& BatchInserter::operator<<(const unsigned int& value) {
    return append<std::uint64_t>(BaseTypeVector::TYPE_UNSIGNED, &BaseTypeVector::m_ulongVec, value,
                                 118);
}

BatchInserter& BatchInserter::operator<<(const long& value) {
    return append<std::int64_t>(BaseTypeVector::TYPE_SIGNED, &BaseTypeVector::m_longVec, value,
                                130);
}

BatchInserter& BatchInserter::operator<<(const unsigned long& value) {
    return append<std::uint64_t>(BaseTypeVector::TYPE_UNSIGNED, &BaseTypeVector::m_ulongVec, value,
                                 142);
}

BatchInserter& BatchInserter::operator<<(const float& value) {
    return append<float>(BaseTypeVector::TYPE_FLOAT, &BaseTypeVector::m_floatVec, value, 154);
}

BatchInserter& BatchInserter::operator<<(const double& value) {
    return append<double>(BaseTypeVector::TYPE_DOUBLE, &BaseTypeVector::m_doubleVec, value, 166);
}

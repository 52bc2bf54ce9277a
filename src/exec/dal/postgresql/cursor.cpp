#include "exec/dal/postgresql/cursor.h"

#include <charconv>
#include <cstdint>

namespace vorn::dal {
namespace {

using platform::ExecResult;

constexpr Oid kBoolOid = 16;
constexpr Oid kInt8Oid = 20;
constexpr Oid kInt2Oid = 21;
constexpr Oid kInt4Oid = 23;

PgRows::Column columnOf(Oid type) {
    switch (type) {
        case kBoolOid:
            return PgRows::Column::Boolean;
        case kInt8Oid:
        case kInt2Oid:
        case kInt4Oid:
            return PgRows::Column::Integer;
        default:
            return PgRows::Column::Text;
    }
}

// An integer column's text is the server's decimal, which is exactly the text
// the field renders from the number (see renderNumber).
void readInteger(const char* text, int size, platform::FieldValue& field) {
    std::int64_t value = 0;
    const std::from_chars_result result = std::from_chars(text, text + size, value);
    if (result.ec == std::errc() && result.ptr == text + size) {
        field.setInteger(value);
    } else {
        field.assign(text, static_cast<std::size_t>(size));
    }
}

}  // namespace

void PgRows::adopt(const PGresult* result) {
    m_result = result;
    m_rows = result != nullptr ? PQntuples(result) : 0;
    m_nextRow = 0;
    const int fields = result != nullptr ? PQnfields(result) : 0;
    // A read's columns are the same in every chunk: a stream's chunks are
    // mostly single rows, whose columns are looked at once.
    if (m_columns.size() != static_cast<std::size_t>(fields)) {
        m_columns.resize(static_cast<std::size_t>(fields));
        for (int i = 0; i < fields; ++i) {
            m_columns[static_cast<std::size_t>(i)] = columnOf(PQftype(result, i));
        }
    }
}

void PgRows::take(platform::Row& row) {
    const int fields = PQnfields(m_result);
    row.resize(static_cast<std::size_t>(fields));
    for (int i = 0; i < fields; ++i) {
        platform::FieldValue& field = row[static_cast<std::size_t>(i)];
        if (PQgetisnull(m_result, m_nextRow, i) != 0) {
            field.clear();
            continue;
        }
        const char* text = PQgetvalue(m_result, m_nextRow, i);
        switch (m_columns[static_cast<std::size_t>(i)]) {
            case Column::Boolean:
                field.assign(text[0] == 't' ? "true" : "false");
                break;
            case Column::Integer:
                readInteger(text, PQgetlength(m_result, m_nextRow, i), field);
                break;
            case Column::Text:
                field.assign(text, static_cast<std::size_t>(PQgetlength(m_result, m_nextRow, i)));
                break;
        }
    }
    ++m_nextRow;
}

ExecResult PgStreamCursor::open(const std::string& sql, const PgParams& params) {
    ExecResult status = m_stream->open(sql, params, m_result);
    m_rows.adopt(m_result.get());
    return status;
}

bool PgStreamCursor::fetch(platform::Row& row, ExecResult& status) {
    status = ExecResult();
    while (!m_rows.left()) {
        if (!m_stream) {
            return false;
        }
        if (!m_stream->next(m_result, status)) {
            // The end, or a failure that ended the read (or the connection):
            // the connection is free of it.
            m_stream.reset();
            m_result = PgResult();
            m_rows.clear();
            return false;
        }
        m_rows.adopt(m_result.get());
    }
    m_rows.take(row);
    return true;
}

PgServerCursor::PgServerCursor(std::shared_ptr<PgReads> reads, PgCursorSlot slot, PgChunk first)
    : m_reads(std::move(reads)),
      m_slot(std::move(slot)),
      m_open(!m_slot.name.empty()),
      m_chunk(std::move(first)) {
    adopt();
}

PgServerCursor::~PgServerCursor() {
    close();
}

void PgServerCursor::close() {
    if (m_open) {
        m_open = false;
        m_reads->close(m_slot);
    }
}

void PgServerCursor::adopt() {
    m_rows.adopt(m_chunk.result.get());
    if (m_chunk.last()) {
        // The cursor has nothing more: free the server's side now rather than
        // when the reader goes.
        close();
    }
}

bool PgServerCursor::fetch(platform::Row& row, ExecResult& status) {
    status = ExecResult();
    while (!m_rows.left()) {
        if (!m_open) {
            return false;
        }
        status = m_reads->fetch(m_slot, m_chunk);
        if (!status.ok()) {
            // A failure that ended the cursor (or the connection).
            m_open = false;
            m_chunk = PgChunk();
            m_rows.clear();
            return false;
        }
        adopt();
    }
    m_rows.take(row);
    return true;
}

}  // namespace vorn::dal

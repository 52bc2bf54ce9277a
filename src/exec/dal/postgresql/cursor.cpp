#include "exec/dal/postgresql/cursor.h"

#include <charconv>
#include <cstdint>

namespace vorn::dal {
namespace {

constexpr Oid kBoolOid = 16;
constexpr Oid kInt8Oid = 20;
constexpr Oid kInt2Oid = 21;
constexpr Oid kInt4Oid = 23;

PgCursor::Column columnOf(Oid type) {
    switch (type) {
        case kBoolOid:
            return PgCursor::Column::Boolean;
        case kInt8Oid:
        case kInt2Oid:
        case kInt4Oid:
            return PgCursor::Column::Integer;
        default:
            return PgCursor::Column::Text;
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

PgCursor::PgCursor(std::shared_ptr<PgReads> reads, PgCursorSlot slot, PgChunk first)
    : m_reads(std::move(reads)),
      m_slot(std::move(slot)),
      m_open(!m_slot.name.empty()),
      m_chunk(std::move(first)) {
    adopt();
}

PgCursor::PgCursor(std::shared_ptr<PgStream> stream, PgResult first)
    : m_stream(std::move(stream)), m_open(true), m_chunk{std::move(first), 0} {
    adopt();
}

PgCursor::~PgCursor() {
    closeServerCursor();
}

void PgCursor::closeServerCursor() {
    if (m_open && m_reads) {
        m_open = false;
        m_reads->close(m_slot);
    }
}

void PgCursor::adopt() {
    PGresult* result = m_chunk.result.get();
    m_chunkRows = result != nullptr ? PQntuples(result) : 0;
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
    if (!m_stream && m_chunk.last()) {
        // The cursor has nothing more: free the server's side now rather than
        // when the reader goes.
        closeServerCursor();
    }
}

bool PgCursor::nextChunk(platform::ExecResult& status) {
    if (m_stream) {
        if (m_stream->next(m_chunk.result, status)) {
            return true;
        }
        m_stream.reset();  // the connection is free of it
    } else {
        status = m_reads->fetch(m_slot, m_chunk);
        if (status.ok()) {
            return true;
        }
    }
    // The end, or a failure that ended the stream or cursor (or the
    // connection).
    m_open = false;
    m_chunk = PgChunk();
    m_chunkRows = 0;
    m_nextRow = 0;
    return false;
}

bool PgCursor::fetch(platform::Row& row, platform::ExecResult& status) {
    status = platform::ExecResult();
    while (m_nextRow >= m_chunkRows) {
        if (!m_open || !nextChunk(status)) {
            return false;
        }
        adopt();
    }
    fill(row);
    ++m_nextRow;
    return true;
}

void PgCursor::fill(platform::Row& row) const {
    PGresult* result = m_chunk.result.get();
    const int fields = PQnfields(result);
    row.resize(static_cast<std::size_t>(fields));
    for (int i = 0; i < fields; ++i) {
        platform::FieldValue& field = row[static_cast<std::size_t>(i)];
        if (PQgetisnull(result, m_nextRow, i) != 0) {
            field.clear();
            continue;
        }
        const char* text = PQgetvalue(result, m_nextRow, i);
        switch (m_columns[static_cast<std::size_t>(i)]) {
            case Column::Boolean:
                field.assign(text[0] == 't' ? "true" : "false");
                break;
            case Column::Integer:
                readInteger(text, PQgetlength(result, m_nextRow, i), field);
                break;
            case Column::Text:
                field.assign(text, static_cast<std::size_t>(PQgetlength(result, m_nextRow, i)));
                break;
        }
    }
}

}  // namespace vorn::dal

#include "exec/dal/postgresql/cursor.h"

namespace vorn::dal {
namespace {

constexpr Oid kBoolOid = 16;

}  // namespace

PgCursor::PgCursor(std::shared_ptr<PgReads> reads, PgCursorSlot slot, PgChunk first)
    : m_reads(std::move(reads)),
      m_slot(std::move(slot)),
      m_open(!m_slot.name.empty()),
      m_chunk(std::move(first)) {
    adopt();
}

PgCursor::~PgCursor() {
    closeServerCursor();
}

void PgCursor::closeServerCursor() {
    if (m_open) {
        m_open = false;
        m_reads->close(m_slot);
    }
}

void PgCursor::adopt() {
    PGresult* result = m_chunk.result.get();
    m_chunkRows = result != nullptr ? PQntuples(result) : 0;
    m_nextRow = 0;
    const int fields = result != nullptr ? PQnfields(result) : 0;
    m_isBoolean.assign(static_cast<std::size_t>(fields), false);
    for (int i = 0; i < fields; ++i) {
        m_isBoolean[static_cast<std::size_t>(i)] = PQftype(result, i) == kBoolOid;
    }
    if (m_chunk.last()) {
        // The cursor has nothing more: free the server's side now rather than
        // when the reader goes.
        closeServerCursor();
    }
}

bool PgCursor::fetch(platform::Row& row, platform::ExecResult& status) {
    status = platform::ExecResult();
    while (m_nextRow >= m_chunkRows) {
        if (!m_open) {
            return false;
        }
        status = m_reads->fetch(m_slot, m_chunk);
        if (!status.ok()) {
            m_open = false;  // the failure ended the cursor (or the connection)
            m_chunk = PgChunk();
            m_chunkRows = 0;
            m_nextRow = 0;
            return false;
        }
        adopt();
    }
    PGresult* result = m_chunk.result.get();
    const int fields = PQnfields(result);
    row.resize(static_cast<std::size_t>(fields));
    for (int i = 0; i < fields; ++i) {
        platform::FieldValue& field = row[static_cast<std::size_t>(i)];
        if (PQgetisnull(result, m_nextRow, i) != 0) {
            field.clear();
        } else if (m_isBoolean[static_cast<std::size_t>(i)]) {
            field.assign(PQgetvalue(result, m_nextRow, i)[0] == 't' ? "true" : "false");
        } else {
            field.assign(PQgetvalue(result, m_nextRow, i),
                         static_cast<std::size_t>(PQgetlength(result, m_nextRow, i)));
        }
    }
    ++m_nextRow;
    return true;
}

}  // namespace vorn::dal

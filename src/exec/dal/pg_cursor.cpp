#include "exec/dal/pg_cursor.h"

#include <algorithm>

namespace vorn::dal {
namespace {

constexpr Oid kBoolOid = 16;
constexpr int kGrowth = 4;
constexpr std::size_t kChunkBytes = std::size_t{4} * 1024 * 1024;
// Counted per field on top of its text, for the memory of the result itself.
constexpr std::size_t kFieldOverhead = 16;

}  // namespace

PgCursor::PgCursor(std::shared_ptr<PgLink> link, PgCursorSlot slot, PgResult first, int requested)
    : m_link(std::move(link)), m_slot(std::move(slot)), m_open(!m_slot.name.empty()) {
    adopt(std::move(first), requested);
}

PgCursor::~PgCursor() {
    closeServerCursor();
}

void PgCursor::closeServerCursor() {
    if (m_open) {
        m_open = false;
        m_link->close(m_slot);
    }
}

void PgCursor::adopt(PgResult chunk, int requested) {
    m_chunk = std::move(chunk);
    m_chunkRows = m_chunk ? PQntuples(m_chunk.get()) : 0;
    m_nextRow = 0;
    m_requested = requested;
    m_chunkBytes = 0;
    const int fields = m_chunk ? PQnfields(m_chunk.get()) : 0;
    m_isBoolean.assign(static_cast<std::size_t>(fields), false);
    for (int i = 0; i < fields; ++i) {
        m_isBoolean[static_cast<std::size_t>(i)] = PQftype(m_chunk.get(), i) == kBoolOid;
    }
    if (m_chunkRows < requested || requested == 0) {
        // The cursor has nothing more: free the server's side now rather than
        // when the reader goes.
        closeServerCursor();
    }
}

int PgCursor::nextChunkRows() const {
    const int limit = m_link->settings().maxFetchRows;
    const std::size_t perRow =
        m_chunkRows > 0 ? m_chunkBytes / static_cast<std::size_t>(m_chunkRows) + 1 : 1;
    const std::size_t byBytes = std::max<std::size_t>(1, kChunkBytes / perRow);
    const std::size_t grown = static_cast<std::size_t>(m_requested) * kGrowth;
    return static_cast<int>(std::min({grown, byBytes, static_cast<std::size_t>(limit)}));
}

bool PgCursor::fetch(platform::Row& row, platform::ExecResult& status) {
    status = platform::ExecResult();
    while (m_nextRow >= m_chunkRows) {
        if (!m_open) {
            return false;
        }
        const int rows = nextChunkRows();
        PgResult chunk;
        status = m_link->fetch(m_slot, rows, chunk);
        if (!status.ok()) {
            m_open = false;  // the failure ended the cursor (or the connection)
            m_chunk = PgResult();
            m_chunkRows = 0;
            m_nextRow = 0;
            return false;
        }
        adopt(std::move(chunk), rows);
    }
    PGresult* result = m_chunk.get();
    const int fields = PQnfields(result);
    row.resize(static_cast<std::size_t>(fields));
    std::size_t bytes = 0;
    for (int i = 0; i < fields; ++i) {
        platform::FieldValue& field = row[static_cast<std::size_t>(i)];
        if (PQgetisnull(result, m_nextRow, i) != 0) {
            field.clear();
            continue;
        }
        const char* text = PQgetvalue(result, m_nextRow, i);
        const int length = PQgetlength(result, m_nextRow, i);
        if (m_isBoolean[static_cast<std::size_t>(i)]) {
            field.assign(text[0] == 't' ? "true" : "false");
        } else {
            field.assign(text, static_cast<std::size_t>(length));
        }
        bytes += static_cast<std::size_t>(length) + kFieldOverhead;
    }
    m_chunkBytes += bytes;
    ++m_nextRow;
    return true;
}

}  // namespace vorn::dal

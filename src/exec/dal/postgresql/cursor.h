#pragma once

#include <memory>
#include <vector>

#include "exec/dal/backend.h"
#include "exec/dal/postgresql/chunk.h"
#include "exec/dal/postgresql/reads.h"
#include "exec/dal/postgresql/stream.h"

namespace vorn::dal {

// The rows of one PostgreSQL read: a read streaming off the connection
// (PgStream: a row at a time, or blocks of rows it took in), a server cursor
// fetched in chunks (the first chunk comes with the read itself; see PgChunk
// for their sizes and PgReads for the fetching), or a result read whole.
//
// Fields: integer columns (int2, int4, int8) as their numbers; the rest as
// PostgreSQL's text output, NULL as the empty text, booleans as "true" /
// "false" (the server's "t" / "f" would not read as numbers), floating-point
// values exact (shortest round-trip form).
class PgCursor final : public Cursor {
  public:
    // slot.name empty: first is the whole result.
    PgCursor(std::shared_ptr<PgReads> reads, PgCursorSlot slot, PgChunk first);
    // first: the stream's first row (none when the result is empty).
    PgCursor(std::shared_ptr<PgStream> stream, PgResult first);
    ~PgCursor() override;
    PgCursor(const PgCursor&) = delete;
    PgCursor& operator=(const PgCursor&) = delete;

    bool fetch(platform::Row& row, platform::ExecResult& status) override;

    // How a column's fields are read.
    enum class Column { Text, Boolean, Integer };

  private:
    // Takes in the chunk m_chunk now holds.
    void adopt();
    // Replaces m_chunk with the next rows; false at the end or on failure.
    bool nextChunk(platform::ExecResult& status);
    void fill(platform::Row& row) const;
    void closeServerCursor();

    std::shared_ptr<PgStream> m_stream;
    std::shared_ptr<PgReads> m_reads;
    PgCursorSlot m_slot;
    bool m_open = false;  // the stream or server cursor may have rows left
    PgChunk m_chunk;
    int m_chunkRows = 0;
    int m_nextRow = 0;
    std::vector<Column> m_columns;
};

}  // namespace vorn::dal

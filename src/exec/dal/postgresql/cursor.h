#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "exec/dal/backend.h"
#include "exec/dal/postgresql/chunk.h"
#include "exec/dal/postgresql/reads.h"
#include "exec/dal/postgresql/stream.h"

namespace vorn::dal {

// The rows of one result of a read as a cursor hands them out, one at a time.
// The result stays its cursor's.
//
// Fields: integer columns (int2, int4, int8) as their numbers; the rest as
// PostgreSQL's text output, NULL as the empty text, booleans as "true" /
// "false" (the server's "t" / "f" would not read as numbers), floating-point
// values exact (shortest round-trip form).
class PgRows {
  public:
    // How a column's fields are read.
    enum class Column { Text, Boolean, Integer };

    // Hands out the rows of result (null: none) from its first.
    void adopt(const PGresult* result);
    // No rows left to hand out.
    void clear() noexcept {
        m_result = nullptr;
        m_rows = 0;
        m_nextRow = 0;
    }
    bool left() const noexcept { return m_nextRow < m_rows; }
    // The next row into row.
    void take(platform::Row& row);

  private:
    const PGresult* m_result = nullptr;
    int m_rows = 0;
    int m_nextRow = 0;
    std::vector<Column> m_columns;
};

// The rows of a read streaming off the connection (PgStream): a row at a
// time, or blocks of rows it took in.
class PgStreamCursor final : public Cursor {
  public:
    explicit PgStreamCursor(std::shared_ptr<PgLink> link) { m_stream.emplace(std::move(link)); }
    PgStreamCursor(const PgStreamCursor&) = delete;
    PgStreamCursor& operator=(const PgStreamCursor&) = delete;

    // Sends the read (see PgStream::open) and takes its first row in.
    platform::ExecResult open(const std::string& sql, const PgParams& params);
    bool fetch(platform::Row& row, platform::ExecResult& status) override;

  private:
    std::optional<PgStream> m_stream;  // gone once the read has ended
    PgResult m_result;
    PgRows m_rows;
};

// The rows of a read through a server cursor, fetched in chunks (the first
// chunk comes with the read itself; see PgChunk for their sizes and PgReads
// for the fetching), or of a result read whole (no cursor, one chunk).
class PgServerCursor final : public Cursor {
  public:
    // slot.name empty: first is the whole result.
    PgServerCursor(std::shared_ptr<PgReads> reads, PgCursorSlot slot, PgChunk first);
    ~PgServerCursor() override;
    PgServerCursor(const PgServerCursor&) = delete;
    PgServerCursor& operator=(const PgServerCursor&) = delete;

    bool fetch(platform::Row& row, platform::ExecResult& status) override;

  private:
    // Takes in the chunk m_chunk now holds.
    void adopt();
    void close();

    std::shared_ptr<PgReads> m_reads;
    PgCursorSlot m_slot;
    bool m_open = false;  // the server cursor may have rows left
    PgChunk m_chunk;
    PgRows m_rows;
};

}  // namespace vorn::dal

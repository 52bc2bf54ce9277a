#pragma once

#include <memory>
#include <vector>

#include "exec/dal/connection.h"
#include "exec/dal/pg_link.h"
#include "exec/dal/pg_result.h"

namespace vorn::dal {

// The rows of one PostgreSQL read: either a server cursor fetched in chunks
// (the first chunk comes with the read itself), or a result read whole.
//
// Chunks start at 100 rows and grow fourfold while their rows stay small, up
// to the connection's vorn_fetch_rows (default 10000) and about 4 MiB of
// field text, so a large result costs few round trips and bounded memory.
//
// Text form of the fields: PostgreSQL's text output, NULL as the empty text,
// booleans as "true" / "false" (the server's "t" / "f" would not read as
// numbers), floating-point values exact (shortest round-trip form).
class PgCursor final : public Cursor {
  public:
    // requested: the rows asked for by the fetch that made first (0 when first
    // is the whole result).
    PgCursor(std::shared_ptr<PgLink> link, PgCursorSlot slot, PgResult first, int requested);
    ~PgCursor() override;
    PgCursor(const PgCursor&) = delete;
    PgCursor& operator=(const PgCursor&) = delete;

    bool fetch(platform::Row& row, platform::ExecResult& status) override;

  private:
    void adopt(PgResult chunk, int requested);
    int nextChunkRows() const;
    void closeServerCursor();

    std::shared_ptr<PgLink> m_link;
    PgCursorSlot m_slot;
    bool m_open = false;  // the server cursor may have rows left
    PgResult m_chunk;
    int m_chunkRows = 0;
    int m_nextRow = 0;
    int m_requested = 0;
    std::size_t m_chunkBytes = 0;
    std::vector<bool> m_isBoolean;
};

}  // namespace vorn::dal

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "exec/dal/postgresql/chunk.h"
#include "exec/dal/postgresql/link.h"

namespace vorn::dal {

// A server cursor opened by a read: its name and the read transaction it was
// declared in (0 when it was declared in the caller's transaction).
struct PgCursorSlot {
    std::string name;
    std::uint64_t readTransaction = 0;
};

// The read path of one connection, shared by the connection and the cursors
// of its open reads.
//
// Reads stream through a server cursor on the connection
// (DECLARE ... NO SCROLL CURSOR WITH HOLD, then FETCH in chunks), so a read
// sees the caller's uncommitted writes, several reads can be open at once, and
// writes run between two fetches. Where a failing fetch could harm nothing but
// its own read, the next chunk is asked for as soon as one arrives, so the
// server works while the caller reads. Client memory stays bounded by two
// chunks.
//   - Inside the caller's transaction the cursor is declared in it. Should
//     the caller commit while the read is open, the server keeps the rest of
//     the result for the cursor (WITH HOLD); a rollback ends the read.
//   - Outside a transaction the read opens a transaction of its own (the
//     "read transaction"), which ends with the last read open in it. Any other
//     call on the connection (a write, a batch, beginTransaction) first
//     releases it (see release), so that call runs exactly as it would without
//     the read; the open cursors survive, the server keeping their rows.
// Statements a cursor cannot run (data-changing WITH, SELECT ... INTO, row
// locks FOR UPDATE/SHARE, INSERT ... RETURNING, SHOW, ...) are read whole.
//
// Behind a transaction pooler (vorn_pool_mode=transaction) nothing may
// outlive a transaction on the server connection: reads outside the caller's
// transaction are read whole, in one round trip (client memory grows with the
// result), and a cursor inside it is declared without HOLD, so it ends with
// the transaction.
class PgReads {
  public:
    explicit PgReads(std::shared_ptr<PgLink> link) noexcept : m_link(std::move(link)) {}

    // Runs sql as a read; on success slot names its server cursor (empty for
    // a result read whole) and first holds the first chunk of rows, for a
    // PgCursor to take over.
    // params are bound to the $n of sql.
    platform::ExecResult open(const std::string& sql, PgCursorSlot& slot, PgChunk& first,
                              const PgParams& params = {});
    // For PgCursor: the chunk of rows after chunk (replacing it), and the end
    // of a cursor.
    platform::ExecResult fetch(const PgCursorSlot& slot, PgChunk& chunk);
    void close(const PgCursorSlot& slot);

    // Readies the connection for any call that is not a read: commits the
    // read transaction, if one is open.
    platform::ExecResult release();

  private:
    platform::ExecResult readWhole(const std::string& sql, PgChunk& first, const PgParams& params);
    platform::ExecResult openCursor(const std::string& sql, PgCursorSlot& slot, PgChunk& first,
                                    const PgParams& params);
    void settle();
    bool fetchGuard(const PgCursorSlot& slot) const;
    void fetchAhead(const PgCursorSlot& slot, const PgChunk& chunk);
    void endReadTransaction(const char* how);

    std::shared_ptr<PgLink> m_link;
    // The read transaction (open while the link says its own transaction is):
    // its number, and how many of its cursors are open.
    std::uint64_t m_readTransactionId = 0;
    int m_readTransactionCursors = 0;
    std::uint64_t m_cursorCounter = 0;
    int m_aheadRows = 0;  // rows asked for by the fetch sent ahead
};

}  // namespace vorn::dal

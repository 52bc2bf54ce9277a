#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "exec/dal/postgresql/chunk.h"
#include "exec/dal/postgresql/gates.h"

namespace vorn::dal {

// A server cursor opened by a read: its name.
struct PgCursorSlot {
    std::string name;
};

// The read path of one connection, shared by the connection and the cursors
// of its open reads.
//
// Reads stream, and several can be open at once on one connection, with
// writes between their rows:
//   - Outside the caller's transaction a read goes out as one query in
//     libpq's single-row mode (PgStream): no transaction of its own, no
//     server cursor; its rows come off the connection as the reader asks for
//     them, so client memory holds one row. Any other call on the connection
//     (a write, a batch, another read, beginTransaction, a fetch of another
//     read) first has the read take the rest of its rows into memory (the
//     link does it as it settles, before it sends anything), then runs exactly
//     as it would without the read; the reader goes on from memory with the
//     same rows. So memory grows with the rest of an open read only when the
//     caller interleaves other calls with it.
//   - Inside the caller's transaction a read streams through a server cursor
//     declared in it (DECLARE ... NO SCROLL CURSOR WITH HOLD, then FETCH in
//     chunks), so it sees the transaction's uncommitted writes. Where a
//     failing fetch could harm nothing but its own read, the next chunk is
//     asked for as soon as one arrives, so the server works while the caller
//     reads. Should the caller commit while the read is open, the server
//     keeps the rest of the result for the cursor (WITH HOLD); a rollback
//     ends the read.
// Statements a cursor cannot run (data-changing WITH, SELECT ... INTO, row
// locks FOR UPDATE/SHARE, INSERT ... RETURNING, SHOW, ...) are read whole.
//
// Behind a transaction pooler (vorn_pool_mode=transaction) a server
// connection may go to another client between two transactions: reads
// outside the caller's transaction are read whole, in one round trip (client
// memory grows with the result), and a cursor inside it is declared without
// HOLD, so it ends with the transaction.
class PgReads {
  public:
    explicit PgReads(std::shared_ptr<PgLink> link) noexcept : m_link(std::move(link)) {}

    // Whether a statement of kind, as a read now, streams in single-row mode
    // (PgStream) instead of going through open().
    bool streams(PgStatementKind kind) const;
    // Runs sql, a statement of kind, as a read; on success slot names its
    // server cursor (empty for a result read whole) and first holds the first
    // chunk of rows, for a PgServerCursor to take over.
    // params are bound to the $n of sql.
    platform::ExecResult open(const std::string& sql, PgStatementKind kind, PgCursorSlot& slot,
                              PgChunk& first, const PgParams& params);
    // For PgServerCursor: the chunk of rows after chunk (replacing it), and
    // the end of a cursor.
    platform::ExecResult fetch(const PgCursorSlot& slot, PgChunk& chunk);
    void close(const PgCursorSlot& slot);

  private:
    platform::ExecResult readWhole(const std::string& sql, PgStatementKind kind, PgChunk& first,
                                   const PgParams& params);
    platform::ExecResult openCursor(const std::string& sql, PgCursorSlot& slot, PgChunk& first,
                                    const PgParams& params);
    bool fetchGuard() const;
    void fetchAhead(const PgCursorSlot& slot, const PgChunk& chunk);

    PgReadsGate m_link;
    std::uint64_t m_cursorCounter = 0;
    int m_aheadRows = 0;  // rows asked for by the fetch sent ahead
};

}  // namespace vorn::dal

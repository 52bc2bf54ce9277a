#pragma once

#include <libpq-fe.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "exec/dal/connection.h"
#include "exec/dal/pg_batch_writer.h"
#include "exec/dal/pg_chunk.h"
#include "exec/dal/pg_result.h"
#include "exec/dal/pg_settings.h"

namespace vorn::dal {

class PgCopyStream;
class PgPipeline;

// How PgLink::runUnit makes its commands one unit of work.
enum class PgAtomicity {
    None,         // as they come (a single statement is atomic by itself)
    Savepoint,    // SAVEPOINT first, RELEASE last, ROLLBACK TO it on failure
    Transaction,  // BEGIN first, COMMIT last, ROLLBACK on failure
};

// Queues the commands of a unit; a failure makes runUnit undo the unit and
// return it.
using PgFill = std::function<platform::ExecResult(PgPipeline&)>;
using PgCollect = std::function<void(PgPipeline&)>;
// Writes the rows of a COPY; a failure makes runCopy cancel it and return it.
using PgCopyFeed = std::function<platform::ExecResult(PgCopyStream&)>;

// A server cursor opened by a read: its name and the read transaction it was
// declared in (0 when it was declared in the caller's transaction).
struct PgCursorSlot {
    std::string name;
    std::uint64_t readTransaction = 0;
};

// One libpq connection and its transaction bookkeeping, shared by the
// PgConnection that the thread's connection cache keeps and by the cursors of
// reads still open on it (so a cursor never outlives its connection).
//
// Every statement goes through the extended query protocol (in pipeline mode),
// which runs exactly one statement per text: a second one is refused by the
// server with SQLSTATE 42601, reported as errc::kMultipleStatements.
//
// Reads stream through a server cursor on this same connection
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
//     commits it, so that call runs exactly as it would without the read; the
//     open cursors survive the commit, the server keeping their remaining rows.
// Statements a cursor cannot run (data-changing WITH, SELECT ... INTO, row
// locks FOR UPDATE/SHARE, INSERT ... RETURNING, SHOW, ...) are read whole.
//
// Inside the caller's transaction each statement runs in a savepoint
// (vorn_statement_rollback, on by default), so a failing statement undoes only
// itself and the transaction goes on, as on SQLite.
//
// A connection lost to a server restart or a network fault is detected at the
// call that meets it: that call fails (the detail says so, and that an open
// transaction was rolled back), and the link reports itself broken so the
// connection cache opens a new one at the next call.
class PgLink : public std::enable_shared_from_this<PgLink> {
  public:
    // Connects; null with status set on failure (code of SQLSTATE 08001).
    static std::shared_ptr<PgLink> open(const PgSettings& settings,
                                        std::vector<std::string> secrets,
                                        platform::ExecResult& status);
    ~PgLink();
    PgLink(const PgLink&) = delete;
    PgLink& operator=(const PgLink&) = delete;

    bool broken() const noexcept { return m_broken; }
    const PgSettings& settings() const noexcept { return m_settings; }

    platform::ExecResult begin();
    platform::ExecResult commit();
    platform::ExecResult rollback();
    platform::ExecResult execute(const std::string& sql);
    platform::ExecResult query(const std::string& sql, std::unique_ptr<Cursor>& cursor);
    platform::ExecResult executeBatch(const std::string& sql, const BatchParameters& parameters);

    // For PgCursor: the chunk of rows after chunk (replacing it), and the end
    // of a cursor.
    platform::ExecResult fetch(const PgCursorSlot& slot, PgChunk& chunk);
    void close(const PgCursorSlot& slot);

    // For PgBatchWriter.
    //
    // Readies the connection for a write: ends a read transaction.
    platform::ExecResult prepareWrite();
    // True when the caller's transaction is open on this connection.
    bool callerTransactionOpen() const;
    // Runs the commands fill() queues as one pipeline (one round trip), made
    // one unit as atomicity says. collect() sees the pipeline after success.
    // sql is the caller's statement, for the error.
    platform::ExecResult runUnit(PgAtomicity atomicity, const PgFill& fill,
                                 const PgCollect& collect, std::string_view sql);
    // Runs copySql (COPY ... FROM STDIN) with the rows feed() writes, inside a
    // savepoint when the caller's transaction is open (a COPY is atomic by
    // itself otherwise). sql is the caller's statement, for the error.
    platform::ExecResult runCopy(const std::string& copySql, const PgCopyFeed& feed,
                                 std::string_view sql);

  private:
    PgLink(PGconn* conn, const PgSettings& settings, std::vector<std::string> secrets);

    void settle();
    void sendDeferred(const char* sql);
    bool fetchGuard(const PgCursorSlot& slot) const;
    void fetchAhead(const PgCursorSlot& slot, const PgChunk& chunk);
    platform::ExecResult lostFailure() const;
    platform::ExecResult failureOf(const PGresult* failure, bool connectionFailed,
                                   std::string_view sql, bool callerTransaction);
    void undoSavepoint();
    platform::ExecResult simple(const char* sql, PgResult* kept = nullptr);
    void endReadTransaction(const char* how);
    PgAtomicity statementAtomicity(std::string_view sql) const;
    platform::ExecResult runOne(PgAtomicity atomicity, const std::string& sql, PgResult* kept);

    PGconn* m_conn;
    PgSettings m_settings;
    std::vector<std::string> m_secrets;
    PgBatchWriter m_batchWriter;
    bool m_broken = false;
    // A command sent ahead whose answer is not read yet: one to be discarded
    // (a COMMIT or CLOSE no caller waits for), or a cursor's next chunk.
    enum class Pending { None, Discard, Prefetch };
    Pending m_pending = Pending::None;
    std::string m_prefetchName;  // the cursor whose next chunk is on its way or here
    bool m_prefetchReady = false;
    bool m_prefetchInCallerTransaction = false;
    PgChunk m_prefetched;
    platform::ExecResult m_prefetchStatus;
    bool m_readTransaction = false;
    std::uint64_t m_readTransactionId = 0;
    int m_readTransactionCursors = 0;
    std::uint64_t m_cursorCounter = 0;
};

}  // namespace vorn::dal

#include "exec/dal/pg_link.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "exec/dal/pg_copy_stream.h"
#include "exec/dal/pg_cursor.h"
#include "exec/dal/pg_errors.h"
#include "exec/dal/pg_pipeline.h"
#include "exec/dal/pg_secret_mask.h"
#include "exec/dal/pg_statement_kind.h"
#include "vorn/platform/error_codes.h"
#include "vorn/platform/logger.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;

constexpr int kFirstFetchRows = 100;
// PostgreSQL 12 and later print floats in the shortest text that reads back
// exactly; older servers need extra_float_digits = 3 for an exact text.
constexpr int kShortestFloatServer = 120000;

constexpr const char* kSavepoint = "SAVEPOINT vorn_statement";
constexpr const char* kReleaseSavepoint = "RELEASE SAVEPOINT vorn_statement";
constexpr const char* kRollbackToSavepoint = "ROLLBACK TO SAVEPOINT vorn_statement";

// The command that fetches the next rows of a cursor.
std::string fetchCommand(int rows, const std::string& cursor) {
    return "FETCH FORWARD " + std::to_string(rows) + " FROM " + cursor;
}

// Server notices (NOTICE, WARNING) go to the trace log, not to stderr.
void traceNotice(void* /*unused*/, const PGresult* result) {
    if (!platform::Logger::enabled(platform::LogLevel::Trace)) {
        return;
    }
    const char* message = PQresultErrorMessage(result);
    platform::Logger::trace(
        {"PgLink", "notice", __LINE__},
        platform::LogScrubber::scrub(pgOneLine(message != nullptr ? message : "")));
}

ExecResult unsupportedCopy() {
    return pgFailure(pgstate::kFeatureNotSupported,
                     "COPY FROM STDIN and COPY TO STDOUT are not supported through this "
                     "interface; use a batch insert");
}

}  // namespace

PgLink::PgLink(PGconn* conn, const PgSettings& settings, std::vector<std::string> secrets)
    : m_conn(conn), m_settings(settings), m_secrets(std::move(secrets)), m_batchWriter(*this) {}

PgLink::~PgLink() {
    PQfinish(m_conn);
}

std::shared_ptr<PgLink> PgLink::open(const PgSettings& settings, std::vector<std::string> secrets,
                                     ExecResult& status) {
    std::vector<const char*> keywords;
    std::vector<const char*> values;
    settings.connectParameters(keywords, values);
    PGconn* conn = PQconnectdbParams(keywords.data(), values.data(), 1);
    if (conn == nullptr) {
        status = pgFailure(pgstate::kCannotConnect, "cannot connect to PostgreSQL: out of memory");
        return nullptr;
    }
    if (PQstatus(conn) != CONNECTION_OK) {
        status = pgFailure(pgstate::kCannotConnect,
                           "cannot connect to PostgreSQL: " +
                               maskPgSecrets(secrets, pgOneLine(PQerrorMessage(conn))));
        PQfinish(conn);
        return nullptr;
    }
    PQsetNoticeReceiver(conn, &traceNotice, nullptr);
    std::shared_ptr<PgLink> link(new PgLink(conn, settings, std::move(secrets)));
    if (PQserverVersion(conn) < kShortestFloatServer) {
        status = link->simple("SET extra_float_digits = 3");
        if (!status.ok()) {
            return nullptr;
        }
    }
    status = ExecResult();
    return link;
}

// Reads the answer to the command sent ahead (a deferred one, or a cursor's
// next chunk, which is kept for it), so the connection is free again.
void PgLink::settle() {
    if (m_pending == Pending::None) {
        return;
    }
    const bool prefetch = m_pending == Pending::Prefetch;
    m_pending = Pending::None;
    PgResult first;
    while (PGresult* result = PQgetResult(m_conn)) {
        if (prefetch && !first) {
            first = PgResult(result);
        } else {
            PQclear(result);
        }
    }
    const bool lost = PQstatus(m_conn) == CONNECTION_BAD;
    if (!prefetch) {
        m_broken = m_broken || lost;
        return;
    }
    m_prefetchReady = true;
    if (first.status() == PGRES_TUPLES_OK && !lost) {
        m_prefetched.result = std::move(first);
        m_prefetchStatus = ExecResult();
        return;
    }
    m_prefetched.result = PgResult();
    m_prefetchStatus = failureOf(first.get(), lost, "FETCH", m_prefetchInCallerTransaction);
    if (m_readTransaction) {
        // The cursor was the read transaction's only one (else nothing is
        // fetched ahead), and its failure ended the transaction. The caller
        // of settle expects a free connection: wait for the ROLLBACK too.
        endReadTransaction("ROLLBACK");
        settle();
    }
}

// Sends a command whose outcome does not matter to the caller without waiting
// for the answer; the next call on the connection reads it.
void PgLink::sendDeferred(const char* sql) {
    settle();
    if (PQsendQueryParams(m_conn, sql, 0, nullptr, nullptr, nullptr, nullptr, 0) == 1) {
        m_pending = Pending::Discard;
    } else if (PQstatus(m_conn) == CONNECTION_BAD) {
        m_broken = true;
    }
}

// Whether a fetch from the cursor of slot needs a savepoint, so that its
// failure cannot end more than the read: the caller's transaction (as
// vorn_statement_rollback says) or other reads of the read transaction.
bool PgLink::fetchGuard(const PgCursorSlot& slot) const {
    if (m_readTransaction) {
        const bool inReadTransaction = slot.readTransaction == m_readTransactionId;
        return m_readTransactionCursors - (inReadTransaction ? 1 : 0) > 0;
    }
    return callerTransactionOpen() && m_settings.statementRollback;
}

// Asks for the chunk after chunk at once, so the server produces it while the
// caller reads this one. Only where the fetch needs no savepoint: the answer
// is read by whatever call comes next (see settle).
void PgLink::fetchAhead(const PgCursorSlot& slot, const PgChunk& chunk) {
    // One chunk ahead at a time: another cursor's may still wait to be taken.
    if (m_broken || m_prefetchReady || chunk.last() || fetchGuard(slot)) {
        return;
    }
    const int rows = chunk.nextRequest(m_settings.maxFetchRows);
    const std::string sql = fetchCommand(rows, slot.name);
    m_prefetchInCallerTransaction = callerTransactionOpen();
    if (PQsendQueryParams(m_conn, sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0) != 1) {
        m_broken = m_broken || PQstatus(m_conn) == CONNECTION_BAD;
        return;
    }
    m_pending = Pending::Prefetch;
    m_prefetchName = slot.name;
    m_prefetchReady = false;
    m_prefetched.requested = rows;
}

ExecResult PgLink::lostFailure() const {
    return pgFailure(pgstate::kConnectionFailure,
                     "the connection to the PostgreSQL server was lost");
}

bool PgLink::callerTransactionOpen() const {
    if (m_readTransaction) {
        return false;
    }
    const PGTransactionStatusType status = PQtransactionStatus(m_conn);
    return status == PQTRANS_INTRANS || status == PQTRANS_INERROR;
}

PgAtomicity PgLink::statementAtomicity(std::string_view sql) const {
    const bool guard = m_settings.statementRollback && callerTransactionOpen() &&
                       classifyPgStatement(sql) != PgStatementKind::TransactionControl;
    return guard ? PgAtomicity::Savepoint : PgAtomicity::None;
}

ExecResult PgLink::failureOf(const PGresult* failure, bool connectionFailed, std::string_view sql,
                             bool callerTransaction) {
    ExecResult status;
    if (failure != nullptr && pgMultipleStatementsRefused(failure, sql)) {
        status = ExecResult::failure(platform::errc::kMultipleStatements,
                                     pgResultFailure(failure, m_conn).detail().value_or(""));
    } else {
        status = pgResultFailure(failure, m_conn);
    }
    if (connectionFailed || pgConnectionLost(failure, m_conn)) {
        m_broken = true;
        m_readTransaction = false;
        std::string detail = maskPgSecrets(m_secrets, status.detail().value_or(""));
        detail.append(callerTransaction
                          ? " (the connection to the server was lost; the open transaction "
                            "was rolled back)"
                          : " (the connection to the server was lost)");
        status = ExecResult::failure(status.errorCode(), std::move(detail));
    }
    return status;
}

ExecResult PgLink::runUnit(PgAtomicity atomicity, const PgFill& fill, const PgCollect& collect,
                           std::string_view sql) {
    if (m_broken) {
        return lostFailure();
    }
    settle();
    const bool callerTransaction = callerTransactionOpen();
    ExecResult status;
    {
        PgPipeline pipeline(m_conn);
        if (atomicity == PgAtomicity::Savepoint) {
            pipeline.query(kSavepoint);
        } else if (atomicity == PgAtomicity::Transaction) {
            pipeline.query("BEGIN");
        }
        ExecResult filled = fill(pipeline);
        const bool abandon = !filled.ok();
        if (atomicity == PgAtomicity::Savepoint) {
            if (abandon) {
                pipeline.query(kRollbackToSavepoint);
            }
            pipeline.query(kReleaseSavepoint);
        } else if (atomicity == PgAtomicity::Transaction) {
            pipeline.query(abandon ? "ROLLBACK" : "COMMIT");
        }
        if (pipeline.finish()) {
            if (abandon) {
                return filled;
            }
            if (collect) {
                collect(pipeline);
            }
            return status;
        }
        status = failureOf(pipeline.failure(), pipeline.connectionFailed(), sql, callerTransaction);
    }
    // A command failed, so the server skipped the rest of the pipeline: the
    // unit is still open and failed.
    if (atomicity == PgAtomicity::Savepoint) {
        undoSavepoint();
    } else if (atomicity == PgAtomicity::Transaction && !m_broken &&
               PQtransactionStatus(m_conn) != PQTRANS_IDLE) {
        PgPipeline undo(m_conn);
        undo.query("ROLLBACK");
        undo.finish();
        m_broken = m_broken || undo.connectionFailed();
    }
    return status;
}

void PgLink::undoSavepoint() {
    if (m_broken) {
        return;
    }
    PgPipeline undo(m_conn);
    undo.query(kRollbackToSavepoint);
    undo.query(kReleaseSavepoint);
    undo.finish();
    m_broken = m_broken || undo.connectionFailed();
}

ExecResult PgLink::runCopy(const std::string& copySql, const PgCopyFeed& feed,
                           std::string_view sql) {
    if (m_broken) {
        return lostFailure();
    }
    settle();
    const bool callerTransaction = callerTransactionOpen();
    if (callerTransaction) {
        ExecResult status = simple(kSavepoint);
        if (!status.ok()) {
            return status;
        }
    }
    ExecResult status;
    bool sent =
        PQsendQueryParams(m_conn, copySql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0) == 1;
    PgResult result(sent ? PQgetResult(m_conn) : nullptr);
    if (result.status() == PGRES_COPY_IN) {
        PgCopyStream stream(m_conn);
        const ExecResult fed = feed(stream);
        sent = stream.finish();
        if (sent) {
            sent = PQputCopyEnd(m_conn, fed.ok() ? nullptr : "batch refused by the client") == 1;
        }
        result = PgResult(sent ? PQgetResult(m_conn) : nullptr);
        if (!fed.ok() && sent) {
            status = fed;  // the server's "COPY from stdin failed" says less
        }
    }
    if (status.ok() && result.status() != PGRES_COMMAND_OK) {
        status = failureOf(result.get(), !sent, sql, callerTransaction);
    }
    while (PGresult* rest = PQgetResult(m_conn)) {
        PQclear(rest);
    }
    if (PQstatus(m_conn) == CONNECTION_BAD && !m_broken) {
        status = failureOf(nullptr, true, sql, callerTransaction);
    }
    if (callerTransaction) {
        if (status.ok()) {
            status = simple(kReleaseSavepoint);
        } else {
            undoSavepoint();
        }
    }
    return status;
}

ExecResult PgLink::runOne(PgAtomicity atomicity, const std::string& sql, PgResult* kept) {
    std::size_t index = 0;
    return runUnit(
        atomicity,
        [&](PgPipeline& p) {
            index = p.query(sql, 0, nullptr, nullptr, nullptr, kept != nullptr);
            return ExecResult();
        },
        [&](PgPipeline& p) {
            if (kept != nullptr) {
                *kept = p.takeResult(index);
            }
        },
        sql);
}

ExecResult PgLink::simple(const char* sql, PgResult* kept) {
    return runOne(PgAtomicity::None, sql, kept);
}

void PgLink::endReadTransaction(const char* how) {
    m_readTransaction = false;
    m_readTransactionCursors = 0;
    if (!m_broken) {
        sendDeferred(how);
    }
}

ExecResult PgLink::prepareWrite() {
    if (m_broken) {
        return lostFailure();
    }
    settle();
    if (!m_readTransaction) {
        return {};
    }
    // The open reads keep their cursors: WITH HOLD makes the server keep the
    // rest of their rows past the commit.
    m_readTransaction = false;
    m_readTransactionCursors = 0;
    return simple("COMMIT");
}

// BEGIN, COMMIT and ROLLBACK go to the server whatever the state, and get its
// answer: misplaced ones (BEGIN inside a transaction, COMMIT or ROLLBACK
// outside one) succeed with a warning there. A read transaction is committed
// first, so they meet exactly the caller's state.
ExecResult PgLink::begin() {
    ExecResult status = prepareWrite();
    return status.ok() ? simple("BEGIN") : status;
}

ExecResult PgLink::commit() {
    ExecResult status = prepareWrite();
    if (!status.ok()) {
        return status;
    }
    PgResult result;
    status = simple("COMMIT", &result);
    if (status.ok() && result && std::strcmp(PQcmdStatus(result.get()), "ROLLBACK") == 0) {
        // The server answers COMMIT of a failed transaction with a rollback
        // and no error; the caller must hear that nothing was committed.
        return pgFailure(pgstate::kFailedTransaction,
                         "the transaction had failed, so it was rolled back instead of committed");
    }
    return status;
}

ExecResult PgLink::rollback() {
    ExecResult status = prepareWrite();
    return status.ok() ? simple("ROLLBACK") : status;
}

ExecResult PgLink::execute(const std::string& sql) {
    if (classifyPgStatement(sql) == PgStatementKind::CopyStream) {
        return unsupportedCopy();
    }
    ExecResult status = prepareWrite();
    if (!status.ok()) {
        return status;
    }
    return runOne(statementAtomicity(sql), sql, nullptr);
}

ExecResult PgLink::query(const std::string& sql, std::unique_ptr<Cursor>& cursor) {
    cursor.reset();
    const PgStatementKind kind = classifyPgStatement(sql);
    if (kind == PgStatementKind::CopyStream) {
        return unsupportedCopy();
    }
    if (kind != PgStatementKind::CursorQuery) {
        // Read whole, as the write it may well be.
        ExecResult status = prepareWrite();
        if (!status.ok()) {
            return status;
        }
        PgResult result;
        status = runOne(statementAtomicity(sql), sql, &result);
        if (status.ok()) {
            cursor = std::make_unique<PgCursor>(shared_from_this(), PgCursorSlot{},
                                                PgChunk{std::move(result), 0});
        }
        return status;
    }
    if (m_broken) {
        return lostFailure();
    }
    settle();

    PgCursorSlot slot;
    slot.name = "vorn_cursor_" + std::to_string(++m_cursorCounter);
    const int rows = std::min(kFirstFetchRows, m_settings.maxFetchRows);
    const std::string declare = "DECLARE " + slot.name + " NO SCROLL CURSOR WITH HOLD FOR " + sql;
    const std::string fetchFirst = fetchCommand(rows, slot.name);
    const bool startsReadTransaction =
        !m_readTransaction && PQtransactionStatus(m_conn) == PQTRANS_IDLE;
    bool guard = false;
    if (m_readTransaction) {
        guard = m_readTransactionCursors > 0;  // a failure must not end the other reads
    } else if (!startsReadTransaction) {
        guard = m_settings.statementRollback;  // the caller's transaction
    }
    std::size_t index = 0;
    PgResult first;
    ExecResult status = runUnit(
        guard ? PgAtomicity::Savepoint : PgAtomicity::None,
        [&](PgPipeline& p) {
            if (startsReadTransaction) {
                p.query("BEGIN");
            }
            p.query(declare);
            index = p.query(fetchFirst, 0, nullptr, nullptr, nullptr, true);
            return ExecResult();
        },
        [&](PgPipeline& p) { first = p.takeResult(index); }, sql);
    if (!status.ok()) {
        if (!m_broken && !guard && (startsReadTransaction || m_readTransaction)) {
            endReadTransaction("ROLLBACK");
        }
        return status;
    }
    if (startsReadTransaction) {
        m_readTransaction = true;
        ++m_readTransactionId;
        m_readTransactionCursors = 0;
    }
    if (m_readTransaction) {
        ++m_readTransactionCursors;
        slot.readTransaction = m_readTransactionId;
    }
    PgChunk chunk{std::move(first), rows};
    fetchAhead(slot, chunk);
    cursor = std::make_unique<PgCursor>(shared_from_this(), std::move(slot), std::move(chunk));
    return status;
}

ExecResult PgLink::fetch(const PgCursorSlot& slot, PgChunk& chunk) {
    if (m_broken) {
        return lostFailure();
    }
    settle();
    if (m_prefetchReady && m_prefetchName == slot.name) {
        m_prefetchReady = false;
        m_prefetchName.clear();
        if (!m_prefetchStatus.ok()) {
            return std::exchange(m_prefetchStatus, ExecResult());
        }
        chunk = std::move(m_prefetched);
        fetchAhead(slot, chunk);
        return {};
    }
    const bool guard = fetchGuard(slot);
    PgChunk next;
    next.requested = chunk.nextRequest(m_settings.maxFetchRows);
    const std::string sql = fetchCommand(next.requested, slot.name);
    ExecResult status =
        runOne(guard ? PgAtomicity::Savepoint : PgAtomicity::None, sql, &next.result);
    if (!status.ok()) {
        if (!m_broken && !guard && m_readTransaction) {
            endReadTransaction("ROLLBACK");
        }
        return status;
    }
    chunk = std::move(next);
    fetchAhead(slot, chunk);
    return status;
}

void PgLink::close(const PgCursorSlot& slot) {
    if (m_broken || slot.name.empty()) {
        return;
    }
    settle();
    if (m_prefetchReady && m_prefetchName == slot.name) {
        m_prefetchReady = false;
        m_prefetchName.clear();
        m_prefetched = PgChunk();
        m_prefetchStatus = ExecResult();
    }
    if (m_readTransaction && slot.readTransaction == m_readTransactionId) {
        if (--m_readTransactionCursors == 0) {
            endReadTransaction("COMMIT");  // closes the cursor too
            return;
        }
    }
    const std::string sql = "CLOSE " + slot.name;
    switch (PQtransactionStatus(m_conn)) {
        case PQTRANS_IDLE:
            sendDeferred(sql.c_str());
            return;
        case PQTRANS_INTRANS:
            // Guarded whatever the setting: closing a cursor that a rollback
            // already took must not fail the caller's transaction.
            runOne(PgAtomicity::Savepoint, sql, nullptr);
            return;
        default:  // a failed transaction: its rollback will take the cursor
            return;
    }
}

ExecResult PgLink::executeBatch(const std::string& sql, const BatchParameters& parameters) {
    return m_batchWriter.run(sql, parameters);
}

}  // namespace vorn::dal

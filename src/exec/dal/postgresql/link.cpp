#include "exec/dal/postgresql/link.h"

#include <sys/socket.h>

#include <string>
#include <utility>

#include "exec/dal/call_bound.h"
#include "exec/dal/postgresql/bounded_wait.h"
#include "exec/dal/postgresql/connect.h"
#include "exec/dal/postgresql/copy_stream.h"
#include "exec/dal/postgresql/errors.h"
#include "exec/dal/postgresql/pipeline.h"
#include "exec/dal/postgresql/session_mode.h"
#include "exec/platform/secret_mask.h"
#include "vorn/platform/error_codes.h"
#include "vorn/platform/logger.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;

// PostgreSQL 12 and later print floats in the shortest text that reads back
// exactly; older servers need extra_float_digits = 3 for an exact text.
constexpr int kShortestFloatServer = 120000;

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

int sendQuery(PGconn* conn, const std::string& sql) {
    return PQsendQueryParams(conn, sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0);
}

}  // namespace

PgLink::PgLink(PGconn* conn, const PgSettings& settings, std::vector<std::string> secrets)
    : m_conn(conn), m_settings(settings), m_secrets(std::move(secrets)) {}

PgLink::~PgLink() {
    // A server that stopped reading must not hold the goodbye message.
    PQsetnonblocking(m_conn, 1);
    PQfinish(m_conn);
}

std::shared_ptr<PgLink> PgLink::open(const PgSettings& settings, std::vector<std::string> secrets,
                                     ExecResult& status) {
    PGconn* conn = pgConnect(settings, secrets, status);
    if (conn == nullptr) {
        return nullptr;
    }
    PQsetNoticeReceiver(conn, &traceNotice, nullptr);
    std::shared_ptr<PgLink> link(new PgLink(conn, settings, std::move(secrets)));
    status = link->keepSessionMode();
    if (status.ok() && PQserverVersion(conn) < kShortestFloatServer) {
        status = link->runOne(PgScope::None, "SET extra_float_digits = 3");
    }
    if (!status.ok()) {
        return nullptr;
    }
    status = ExecResult();
    return link;
}

std::shared_ptr<PgLink> PgLink::reopen(ExecResult& status) const {
    return open(m_settings, m_secrets, status);
}

bool PgLink::callerTransactionOpen() const {
    const PGTransactionStatusType status = PQtransactionStatus(m_conn);
    return status == PQTRANS_INTRANS || status == PQTRANS_INERROR;
}

PgScope PgLink::statementScope(PgStatementKind kind) const {
    const bool guard = m_settings.statementRollback && callerTransactionOpen() &&
                       kind != PgStatementKind::TransactionControl;
    return guard ? PgScope::Savepoint : PgScope::None;
}

ExecResult PgLink::lostFailure() const {
    return pgFailure(pgstate::kConnectionFailure,
                     "the connection to the PostgreSQL server was lost");
}

// The server ends the session, and rolls back its transaction, once it sees
// the connection close: the socket is shut at once, not when the link goes.
void PgLink::giveUp() {
    m_gaveUp = true;
    m_broken = true;
    const int fd = PQsocket(m_conn);
    if (fd >= 0) {
        ::shutdown(fd, SHUT_RDWR);
    }
}

ExecResult PgLink::gaveUpFailure(std::string_view sql, bool callerTransaction) {
    giveUp();
    std::string detail = std::string(callEndReason()) +
                         " and PostgreSQL did not answer the cancel; the connection was closed";
    if (pgInDoubtWhenCut(sql, callerTransaction)) {
        return pgFailure(
            pgstate::kTransactionResolutionUnknown,
            detail + ": the statement was sent, and whether it took effect is unknown");
    }
    return pgFailure(pgstate::kQueryCanceled,
                     callerTransaction ? detail + " and the open transaction rolled back" : detail);
}

PGresult* PgLink::awaitResult() {
    if (m_gaveUp || pgAwaitResult(m_conn) == PgWait::GiveUp) {
        giveUp();
        return nullptr;
    }
    return PQgetResult(m_conn);
}

ExecResult PgLink::failureOf(const PGresult* failure, bool connectionFailed, std::string_view sql,
                             bool callerTransaction) {
    if (m_gaveUp) {
        return gaveUpFailure(sql, callerTransaction);
    }
    ExecResult status = pgResultFailure(failure, m_conn);
    if (inOvertime() &&
        status.errorCode() == platform::pgCodeFromSqlstate(pgstate::kQueryCanceled)) {
        status = ExecResult::failure(status.errorCode(),
                                     status.detail().value_or("") + " (" + callEndReason() + ")");
    }
    if (failure != nullptr && pgMultipleStatementsRefused(failure, sql)) {
        status =
            ExecResult::failure(platform::errc::kMultipleStatements, status.detail().value_or(""));
    }
    if (connectionFailed || pgConnectionLost(failure, m_conn)) {
        m_broken = true;
        std::string detail = platform::SecretMask::mask(status.detail().value_or(""), m_secrets);
        if (callerTransaction && !serverAnswered(failure) && pgInDoubtWhenCut(sql, true)) {
            // The COMMIT went out, and no answer came back: the server may
            // have committed before the connection went.
            return pgFailure(pgstate::kTransactionResolutionUnknown,
                             detail +
                                 " (the connection was lost after the COMMIT was sent: "
                                 "whether the transaction was committed is unknown)");
        }
        detail.append(callerTransaction
                          ? " (the connection to the server was lost; the open transaction "
                            "was rolled back)"
                          : " (the connection to the server was lost)");
        status = ExecResult::failure(status.errorCode(), std::move(detail));
    }
    return status;
}

// Whether failure is the server's own answer (it carries an SQLSTATE), not
// libpq's report of a connection that ended without one.
bool PgLink::serverAnswered(const PGresult* failure) {
    const char* sqlstate =
        failure != nullptr ? PQresultErrorField(failure, PG_DIAG_SQLSTATE) : nullptr;
    return sqlstate != nullptr && *sqlstate != '\0';
}

// A round trip of its own, only when the mode changed: in the unit's pipeline
// the SETs would be undone with a failing unit, and would keep statements that
// refuse to run in a pipeline (VACUUM, CREATE DATABASE, ...) from running.
ExecResult PgLink::readyToSend() {
    ExecResult status = settle();
    return status.ok() ? keepSessionMode() : status;
}

ExecResult PgLink::keepSessionMode() {
    // A failed transaction refuses every command but the one that ends it.
    if (pgSessionModeHolds(m_conn) || transactionStatus() == PQTRANS_INERROR) {
        return {};
    }
    const bool callerTransaction = callerTransactionOpen();
    PgPipeline pipeline(m_conn);
    pgQueueSessionMode(m_conn, pipeline);
    if (!pipeline.finish()) {
        m_gaveUp = m_gaveUp || pipeline.gaveUp();
        return failureOf(pipeline.failure(), pipeline.connectionFailed(), "", callerTransaction);
    }
    return {};
}

// Undo statements of a scope run as units of their own, after the failed one.
TransactionScope::Run PgLink::controlRunner() {
    return [this](const char* sql) { return runControl(sql); };
}

ExecResult PgLink::runControl(const char* sql) {
    return m_broken ? lostFailure() : runOne(PgScope::None, sql);
}

ExecResult PgLink::runUnit(PgScope scopeKind, PgFill fill, PgCollect collect,
                           std::string_view sql) {
    ExecResult ready = readyToSend();
    if (!ready.ok()) {
        return ready;
    }
    const bool callerTransaction = callerTransactionOpen();
    // Declared before the pipeline: a failed unit is undone after the
    // pipeline has ended.
    TransactionScope scope(scopeKind, controlRunner());
    PgPipeline pipeline(m_conn);
    if (scope.beginSql() != nullptr) {
        pipeline.query(scope.beginSql());
        scope.begun();
    }
    ExecResult filled = fill(pipeline);
    if (filled.ok() && scope.commitSql() != nullptr) {
        pipeline.query(scope.commitSql());
    }
    if (!pipeline.finish()) {
        m_gaveUp = m_gaveUp || pipeline.gaveUp();
        // A command failed, so the server skipped the rest of the pipeline:
        // the unit is still open and failed.
        return failureOf(pipeline.failure(), pipeline.connectionFailed(), sql, callerTransaction);
    }
    if (filled.ok()) {
        scope.committed();
        if (collect) {
            collect(pipeline);
        }
    }
    return filled;
}

ExecResult PgLink::runOne(PgScope scope, const std::string& sql, PgResult* kept,
                          const PgParams& params) {
    std::size_t index = 0;
    return runUnit(
        scope,
        [&](PgPipeline& p) {
            index =
                p.query(sql, params.count, nullptr, params.values, params.lengths, kept != nullptr);
            return ExecResult();
        },
        [&](PgPipeline& p) {
            if (kept != nullptr) {
                *kept = p.takeResult(index);
            }
        },
        sql);
}

// Feeds the rows of a COPY that the server has accepted, and ends it.
// The rows go out in nonblocking mode, waited for within the call's bound.
ExecResult PgLink::feedCopy(PgCopyFeed feed, bool& sent, PgResult& result) {
    PQsetnonblocking(m_conn, 1);
    PgCopyStream stream(m_conn);
    const ExecResult fed = feed(stream);
    sent = stream.finish();
    m_gaveUp = m_gaveUp || stream.gaveUp();
    if (sent) {
        sent = PQputCopyEnd(m_conn, fed.ok() ? nullptr : "batch refused by the client") == 1;
    }
    if (sent) {
        const PgWait flushed = pgFlushAll(m_conn);
        m_gaveUp = m_gaveUp || flushed == PgWait::GiveUp;
        sent = flushed == PgWait::Ready;
    }
    PQsetnonblocking(m_conn, 0);
    result = PgResult(sent ? awaitResult() : nullptr);
    // The server's "COPY from stdin failed" says less than the refusal.
    return sent ? fed : ExecResult();
}

ExecResult PgLink::runCopy(const std::string& copySql, PgCopyFeed feed, std::string_view sql) {
    ExecResult ready = readyToSend();  // the rows travel in the client encoding
    if (!ready.ok()) {
        return ready;
    }
    const bool callerTransaction = callerTransactionOpen();
    TransactionScope scope(unitScope(PgScope::None), controlRunner());
    ExecResult status = scope.begin();
    if (!status.ok()) {
        return status;
    }
    bool sent = sendQuery(m_conn, copySql) == 1;
    PgResult result(sent ? awaitResult() : nullptr);
    if (result.status() == PGRES_COPY_IN) {
        status = feedCopy(feed, sent, result);
    }
    if (status.ok() && result.status() != PGRES_COMMAND_OK) {
        status = failureOf(result.get(), !sent, sql, callerTransaction);
    }
    while (PGresult* rest = awaitResult()) {
        PQclear(rest);
    }
    if (m_gaveUp) {
        return gaveUpFailure(sql, callerTransaction);
    }
    if (PQstatus(m_conn) == CONNECTION_BAD && !m_broken) {
        status = failureOf(nullptr, true, sql, callerTransaction);
    }
    return status.ok() ? scope.commit() : status;
}

}  // namespace vorn::dal

#include "exec/dal/postgresql/connection.h"

#include <cstdlib>
#include <cstring>

#include "exec/dal/postgresql/bound_values.h"
#include "exec/dal/postgresql/cursor.h"
#include "exec/dal/postgresql/errors.h"
#include "exec/dal/postgresql/statement_kind.h"
#include "exec/platform/secret_mask.h"
#include "vorn/platform/logger.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;
using platform::SecretMask;

// The secrets of url, and $PGPASSWORD, which libpq takes when the URL has none.
std::vector<std::string> secretsOf(const std::string& url) {
    std::vector<std::string> secrets = SecretMask::urlValues(url);
    const char* password = std::getenv("PGPASSWORD");
    if (password != nullptr && std::strlen(password) >= SecretMask::kShortestKnownValue) {
        secrets.emplace_back(password);
    }
    return secrets;
}

// What cannot go to the server as it is: text with a NUL byte (libpq would
// send only what comes before it, silently dropping the rest; on SQLite such
// text is a second statement too), and COPY's data streams (kind is sql's).
ExecResult refusal(const std::string& sql, PgStatementKind kind) {
    if (sql.find('\0') != std::string::npos) {
        return secondStatementRefused();
    }
    if (kind == PgStatementKind::CopyStream) {
        return pgFailure(pgstate::kFeatureNotSupported,
                         "COPY FROM STDIN and COPY TO STDOUT are not supported through this "
                         "interface; use a batch insert");
    }
    return {};
}

}  // namespace

std::unique_ptr<PgConnection> PgConnection::open(const PgSettings& settings, const std::string& url,
                                                 ExecResult& status) {
    const std::shared_ptr<PgLink> link = PgLink::open(settings, secretsOf(url), status);
    if (!link) {
        return nullptr;
    }
    return std::unique_ptr<PgConnection>(new PgConnection(link));
}

ExecResult PgConnection::control(const char* sql, PgResult* kept) {
    ExecResult status = m_link.settle();
    if (!status.ok()) {
        return status;
    }
    // The server only warns of a BEGIN inside a transaction and of a COMMIT
    // or ROLLBACK outside one, and the call succeeds. Transaction calls write
    // no log line, whatever their outcome.
    return m_link.runOne(PgScope::None, sql, kept);
}

ExecResult PgConnection::begin(Isolation isolation) {
    switch (isolation) {
        case Isolation::ReadCommitted:
            return control("BEGIN ISOLATION LEVEL READ COMMITTED");
        case Isolation::RepeatableRead:
            return control("BEGIN ISOLATION LEVEL REPEATABLE READ");
        case Isolation::Serializable:
            return control("BEGIN ISOLATION LEVEL SERIALIZABLE");
        case Isolation::Default:
            break;
    }
    return control("BEGIN");
}

ExecResult PgConnection::commit() {
    PgResult result;
    ExecResult status = control("COMMIT", &result);
    if (status.ok() && result && std::strcmp(PQcmdStatus(result.get()), "ROLLBACK") == 0) {
        // The server answers COMMIT of a failed transaction with a rollback
        // and no error; the caller must hear that nothing was committed.
        return pgFailure(pgstate::kFailedTransaction,
                         "the transaction had failed, so it was rolled back instead of committed");
    }
    return status;
}

ExecResult PgConnection::rollback() {
    return control("ROLLBACK");
}

ExecResult PgConnection::execute(const std::string& sql) {
    return write(sql, PgParams{});
}

ExecResult PgConnection::executeBound(const std::string& sql,
                                      const platform::BoundParameters& parameters) {
    PgBoundValues bound;
    ExecResult status = bound.prepare(sql, parameters);
    return status.ok() ? write(bound.text(), bound.params()) : status;
}

ExecResult PgConnection::write(const std::string& sql, const PgParams& params) {
    const PgStatementKind kind = classifyPgStatement(sql);
    ExecResult status = refusal(sql, kind);
    status = status.ok() ? m_link.settle() : status;
    if (!status.ok()) {
        return status;
    }
    PgResult result;
    status = m_link.runOne(m_link.statementScope(kind), sql, &result, params);
    if (status.ok() && result) {
        status.setRows(std::strtoull(PQcmdTuples(result.get()), nullptr, 10));
    }
    return status;
}

ExecResult PgConnection::query(const std::string& sql, std::unique_ptr<Cursor>& cursor) {
    return read(sql, PgParams{}, cursor);
}

ExecResult PgConnection::queryBound(const std::string& sql,
                                    const platform::BoundParameters& parameters,
                                    std::unique_ptr<Cursor>& cursor) {
    cursor.reset();
    PgBoundValues bound;
    ExecResult status = bound.prepare(sql, parameters);
    return status.ok() ? read(bound.text(), bound.params(), cursor) : status;
}

ExecResult PgConnection::read(const std::string& sql, const PgParams& params,
                              std::unique_ptr<Cursor>& cursor) {
    cursor.reset();
    const PgStatementKind kind = classifyPgStatement(sql);
    ExecResult status = refusal(sql, kind);
    if (!status.ok()) {
        return status;
    }
    // The transaction state is known once a read still streaming has taken
    // the rest of its rows in and the answer of a command sent ahead (a fetch
    // of another read, say) has been read. A loss met by a streaming read
    // there cost no transaction (none is open while a read streams): this
    // read may still run on a new connection.
    const bool streamed = m_link.streaming();
    status = m_link.settle();
    const bool retryable = (!m_link.broken() || streamed) && !m_link.callerTransactionOpen() &&
                           kind == PgStatementKind::CursorQuery;
    if (status.ok()) {
        status = openRead(sql, kind, params, cursor);
    }
    if (status.ok() || !retryable || !m_link.broken() || !reconnect()) {
        return status;
    }
    platform::Logger::info({"PgConnection", "query", __LINE__},
                           "the connection to the PostgreSQL server was lost before the read "
                           "returned a row; the read runs again on a new connection");
    return openRead(sql, kind, params, cursor);
}

ExecResult PgConnection::openRead(const std::string& sql, PgStatementKind kind,
                                  const PgParams& params, std::unique_ptr<Cursor>& cursor) {
    if (m_reads->streams(kind)) {
        auto stream = std::make_unique<PgStreamCursor>(m_link.link());
        ExecResult status = stream->open(sql, params);
        if (status.ok()) {
            cursor = std::move(stream);
        }
        return status;
    }
    PgCursorSlot slot;
    PgChunk first;
    ExecResult status = m_reads->open(sql, kind, slot, first, params);
    if (status.ok()) {
        cursor = std::make_unique<PgServerCursor>(m_reads, std::move(slot), std::move(first));
    }
    return status;
}

bool PgConnection::reconnect() {
    ExecResult status;
    const std::shared_ptr<PgLink> link = m_link.reopen(status);
    if (!link) {
        return false;
    }
    m_link = PgConnectionGate(link);
    m_reads = std::make_shared<PgReads>(link);
    m_batchWriter = PgBatchWriter(link);
    return true;
}

ExecResult PgConnection::executeBatch(const std::string& sql, const BatchParameters& parameters) {
    if (sql.find('\0') != std::string::npos) {
        return secondStatementRefused();
    }
    ExecResult status = m_link.settle();
    return status.ok() ? m_batchWriter.run(sql, parameters) : status;
}

}  // namespace vorn::dal

#include "exec/dal/postgresql/reads.h"

#include <algorithm>

#include "exec/dal/postgresql/pipeline.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;

constexpr int kFirstFetchRows = 100;

// The command that fetches the next rows of a cursor.
std::string fetchCommand(int rows, const std::string& cursor) {
    return "FETCH FORWARD " + std::to_string(rows) + " FROM " + cursor;
}

}  // namespace

bool PgReads::streams(PgStatementKind kind) const {
    // Behind a transaction pooler the query would still hold the server
    // connection the pooler may hand to others between two calls.
    return kind == PgStatementKind::CursorQuery && !m_link.settings().transactionPooling &&
           !m_link.callerTransactionOpen();
}

ExecResult PgReads::open(const std::string& sql, PgStatementKind kind, PgCursorSlot& slot,
                         PgChunk& first, const PgParams& params) {
    const bool cursor = kind == PgStatementKind::CursorQuery && m_link.callerTransactionOpen();
    return cursor ? openCursor(sql, slot, first, params) : readWhole(sql, kind, first, params);
}

// Read whole, as the write it may well be.
ExecResult PgReads::readWhole(const std::string& sql, PgStatementKind kind, PgChunk& first,
                              const PgParams& params) {
    ExecResult status = m_link.settle();
    if (!status.ok()) {
        return status;
    }
    first.requested = 0;
    return m_link.runOne(m_link.statementScope(kind), sql, &first.result, params);
}

// In the caller's transaction.
ExecResult PgReads::openCursor(const std::string& sql, PgCursorSlot& slot, PgChunk& first,
                               const PgParams& params) {
    ExecResult status = m_link.settle();
    if (!status.ok()) {
        return status;
    }
    slot.name = "vorn_cursor_" + std::to_string(++m_cursorCounter);
    const int rows = std::min(kFirstFetchRows, m_link.settings().maxFetchRows);
    // Behind a transaction pooler the cursor ends with the caller's
    // transaction; a read still open then fails at its next fetch.
    const char* const hold = m_link.settings().transactionPooling ? "" : " WITH HOLD";
    const std::string declare = "DECLARE " + slot.name + " NO SCROLL CURSOR" + hold + " FOR " + sql;
    // A failure must not end the caller's transaction (as
    // vorn_statement_rollback says).
    const bool guard = m_link.settings().statementRollback;
    std::size_t index = 0;
    status = m_link.runUnit(
        guard ? PgScope::Savepoint : PgScope::None,
        [&](PgPipeline& p) {
            p.query(declare, params.count, nullptr, params.values, params.lengths);
            index = p.query(fetchCommand(rows, slot.name), 0, nullptr, nullptr, nullptr, true);
            return ExecResult();
        },
        [&](PgPipeline& p) { first.result = p.takeResult(index); }, sql);
    if (!status.ok()) {
        return status;
    }
    first.requested = rows;
    fetchAhead(slot, first);
    return status;
}

ExecResult PgReads::fetch(const PgCursorSlot& slot, PgChunk& chunk) {
    if (m_link.broken()) {
        return m_link.lostFailure();
    }
    PgResult ahead;
    ExecResult status;
    if (m_link.takeAhead(slot.name, ahead, status)) {
        if (status.ok()) {
            chunk = PgChunk{std::move(ahead), m_aheadRows};
            fetchAhead(slot, chunk);
        }
        return status;
    }
    PgChunk next;
    next.requested = chunk.nextRequest(m_link.settings().maxFetchRows);
    status = m_link.runOne(fetchGuard() ? PgScope::Savepoint : PgScope::None,
                           fetchCommand(next.requested, slot.name), &next.result);
    if (!status.ok()) {
        return status;
    }
    chunk = std::move(next);
    fetchAhead(slot, chunk);
    return status;
}

void PgReads::close(const PgCursorSlot& slot) {
    if (m_link.broken() || slot.name.empty()) {
        return;
    }
    m_link.dropAhead(slot.name);
    const std::string sql = "CLOSE " + slot.name;
    switch (m_link.transactionStatus()) {
        case PQTRANS_IDLE:
            // Behind a transaction pooler the cursor ended with its
            // transaction, and the server connection may be another's now.
            if (!m_link.settings().transactionPooling) {
                m_link.sendAhead(sql, "");
            }
            return;
        case PQTRANS_INTRANS:
            // Guarded whatever the setting: closing a cursor that a rollback
            // already took must not fail the caller's transaction; its
            // outcome is of no use to anyone.
            static_cast<void>(m_link.runOne(PgScope::Savepoint, sql));
            return;
        default:  // a failed transaction: its rollback will take the cursor
            return;
    }
}

// Whether a fetch needs a savepoint, so that its failure cannot end the
// caller's transaction (as vorn_statement_rollback says).
bool PgReads::fetchGuard() const {
    return m_link.callerTransactionOpen() && m_link.settings().statementRollback;
}

// Asks for the chunk after chunk at once, so the server produces it while the
// caller reads this one. Only where the fetch needs no savepoint: the answer
// is read by whatever call comes next.
void PgReads::fetchAhead(const PgCursorSlot& slot, const PgChunk& chunk) {
    if (m_link.broken() || chunk.last() || fetchGuard()) {
        return;
    }
    const int rows = chunk.nextRequest(m_link.settings().maxFetchRows);
    if (m_link.sendAhead(fetchCommand(rows, slot.name), slot.name)) {
        m_aheadRows = rows;
    }
}

}  // namespace vorn::dal

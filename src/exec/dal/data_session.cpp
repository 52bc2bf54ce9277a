#include <cstdint>
#include <memory>

#include "exec/dal/backend.h"
#include "exec/dal/batch_parameters.h"
#include "exec/dal/call_bound.h"
#include "exec/dal/connection_cache.h"
#include "exec/dal/field_text.h"
#include "exec/dal/inherited.h"
#include "exec/dal/write_once.h"
#include "vorn/platform/data_access.h"
#include "vorn/platform/error_codes.h"
#include "vorn/transaction.h"

namespace vorn::dal {

using platform::BoundParameters;
using platform::ExecResult;

// What a DataSession keeps between its calls; the executor's single writes
// keep it on the stack for one call (writeOnce).
struct SessionState {
    enum class Result { None, Open, Ended };

    explicit SessionState(const char* sessionName)
        : name(sessionName != nullptr ? sessionName : "") {}
    ~SessionState() { leaveIfInherited(); }
    SessionState(const SessionState&) = delete;
    SessionState& operator=(const SessionState&) = delete;

    // Takes this thread's connection for the name at the first call that
    // needs it (again, when the process has forked since), then asks the
    // transaction guard whether the call may run: status is its refusal while
    // the caller's transaction is lost. A rollback that ends a lost
    // transaction has nothing left to do (endedLost). A call that ends a
    // transaction takes a lost connection as it is (see acquireConnection).
    // The session's connection is asked before a write as the cache asks
    // (asksAboutTheFile): one whose file was replaced is given back, and the
    // cache opens the file now at the path.
    ExecResult connect(CallUse use, bool& endedLost) {
        ExecResult status;
        endedLost = false;
        leaveIfInherited();
        if (connection && !cursor && asksAboutTheFile(use, *connection) &&
            connection->fileReplaced()) {
            connection.reset();
        }
        if (!connection) {
            connection = acquireConnection(name, status, use);
            forkGeneration = dal::forkGeneration();
        }
        if (status.ok() && connection.guard() != nullptr) {
            status = connection.guard()->admit(use, endedLost);
        }
        return status;
    }

    ExecResult connect(CallUse use) {
        bool endedLost = false;
        return connect(use, endedLost);
    }

    // Lets the transaction guard see the outcome of a call that ran.
    ExecResult observed(CallUse use, ExecResult status) {
        if (connection && connection.guard() != nullptr) {
            connection.guard()->observe(use, *connection, status, name);
        }
        return status;
    }

    // In a child of fork(), the connection and open result are the parent's:
    // they are abandoned, never used or closed here. True when that happened
    // to an open result.
    bool leaveIfInherited() {
        if (!connection || forkGeneration == dal::forkGeneration()) {
            return false;
        }
        const bool hadResult = result == Result::Open;
        dal::abandonInherited(std::move(cursor));
        dal::abandonInherited(connection.release());
        result = Result::None;
        return hadResult;
    }

    // The outcome of a read that has just run.
    ExecResult opened(ExecResult status) {
        if (status.ok()) {
            result = cursor ? Result::Open : Result::Ended;
        }
        return status;
    }

    void endResult() {
        leaveIfInherited();
        cursor.reset();
        result = Result::None;
    }

    // Runs a statement that returns no rows to the caller (any kind but a read).
    ExecResult write(const std::string& sql) {
        endResult();
        ExecResult status = connect(CallUse::Write);
        return status.ok() ? observed(CallUse::Write, connection->execute(sql)) : status;
    }

    ExecResult writeBound(const std::string& sql, const BoundParameters& parameters) {
        endResult();
        ExecResult status = connect(CallUse::Write);
        return status.ok() ? observed(CallUse::Write, connection->executeBound(sql, parameters))
                           : status;
    }

    std::string name;
    // Declared before the cursor, which must go first.
    ConnectionLease connection;
    std::uint64_t forkGeneration = 0;
    std::unique_ptr<Cursor> cursor;
    Result result = Result::None;
};

}  // namespace vorn::dal

namespace vorn::platform {

DataSession::DataSession(const char* sessionName)
    : m_state(std::make_unique<dal::SessionState>(sessionName)) {}

DataSession::~DataSession() = default;

const std::string& DataSession::sessionName() const noexcept {
    return m_state->name;
}

ExecResult DataSession::beginTransaction() {
    return beginTransaction(Isolation::Default);
}

ExecResult DataSession::beginTransaction(Isolation isolation) {
    const dal::CallBound bound(m_state->name);
    ExecResult status = m_state->connect(dal::CallUse::Begin);
    return status.ok()
               ? m_state->observed(dal::CallUse::Begin, m_state->connection->begin(isolation))
               : status;
}

// On a connection known lost, the store's failure for it at once: nothing
// was committed.
ExecResult DataSession::commit() {
    const dal::CallBound bound(m_state->name);
    ExecResult status = m_state->connect(dal::CallUse::Commit);
    return status.ok() ? m_state->observed(dal::CallUse::Commit, m_state->connection->commit())
                       : status;
}

// On a lost connection there is nothing left to roll back: the store rolled
// the transaction back when the connection went. Success, at once and
// without a new connection; so too when the rollback meets the loss, and for
// a transaction the store had ended on its own (see TransactionGuard).
ExecResult DataSession::rollback() {
    const dal::CallBound bound(m_state->name);
    dal::limitCall(dal::kOwnStepBound);
    bool endedLost = false;
    ExecResult status = m_state->connect(dal::CallUse::Rollback, endedLost);
    if (!status.ok() || endedLost) {
        return status;
    }
    if (m_state->connection->usable()) {
        status = m_state->connection->rollback();
    }
    status = m_state->observed(dal::CallUse::Rollback, status);
    return status.ok() || m_state->connection->usable() ? status : ExecResult();
}

ExecResult DataSession::execute(const std::string& /*statementId*/, SqlKind kind,
                                const std::string& sql, NoParameters /*none*/) {
    const dal::CallBound bound(m_state->name);
    if (kind != SqlKind::Read) {
        return m_state->write(sql);
    }
    m_state->endResult();
    ExecResult status = m_state->connect(dal::CallUse::Read);
    if (!status.ok()) {
        return status;
    }
    return m_state->opened(
        m_state->observed(dal::CallUse::Read, m_state->connection->query(sql, m_state->cursor)));
}

ExecResult DataSession::execute(const std::string& /*statementId*/, SqlKind kind,
                                const std::string& sql, const TypedRef& parameters) {
    const dal::CallBound bound(m_state->name);
    m_state->endResult();
    if (kind == SqlKind::Read) {
        return ExecResult::failure(errc::kBadParameters,
                                   "a parameter set is executed as a batch, not as a read");
    }
    dal::BatchParameters batch;
    ExecResult status = dal::BatchParameters::collect(parameters, batch);
    if (!status.ok()) {
        return status;
    }
    status = m_state->connect(dal::CallUse::Write);
    if (!status.ok()) {
        return status;
    }
    status = m_state->observed(dal::CallUse::Write, m_state->connection->executeBatch(sql, batch));
    if (status.ok()) {
        status.setRows(batch.rows());
    }
    return status;
}

ExecResult DataSession::execute(const std::string& /*statementId*/, SqlKind kind,
                                const std::string& sql, const BoundParameters& parameters) {
    const dal::CallBound bound(m_state->name);
    if (kind == SqlKind::Batch) {
        m_state->endResult();
        return ExecResult::failure(errc::kBadParameters,
                                   "bound values make one statement, not a batch");
    }
    if (kind != SqlKind::Read) {
        return m_state->writeBound(sql, parameters);
    }
    m_state->endResult();
    ExecResult status = m_state->connect(dal::CallUse::Read);
    if (!status.ok()) {
        return status;
    }
    return m_state->opened(m_state->observed(
        dal::CallUse::Read, m_state->connection->queryBound(sql, parameters, m_state->cursor)));
}

bool DataSession::fetchRow(ExecResult& status, const TypedRef& rowTarget, int /*maxRows*/) {
    if (rowTarget.type.code != typecode::kRowTarget || rowTarget.object == nullptr) {
        status = ExecResult::failure(errc::kBadParameters,
                                     "the row target must refer to a Row (type code " +
                                         std::to_string(typecode::kRowTarget) + ")");
        return false;
    }
    if (m_state->leaveIfInherited()) {
        status = ExecResult::failure(errc::kInheritedResult,
                                     "the result was opened before fork(), by the parent process; "
                                     "run the read again in this process");
        return false;
    }
    switch (m_state->result) {
        case dal::SessionState::Result::None:
            status = ExecResult::failure(errc::kNoResult, "no read result is open on this session");
            return false;
        case dal::SessionState::Result::Ended:
            status = ExecResult();
            return false;
        case dal::SessionState::Result::Open:
            break;
    }
    Row& row = *static_cast<Row*>(rowTarget.object);
    const dal::CallBound bound(m_state->name);
    dal::limitCall(m_state->connection.callTimeout());
    if (m_state->cursor->fetch(row, status)) {
        if ((rowTarget.type.flags & kFlagNumbersAsValues) == 0) {
            dal::renderNumbers(row);
        }
        return true;
    }
    m_state->cursor.reset();
    m_state->result = dal::SessionState::Result::Ended;
    return false;
}

}  // namespace vorn::platform

namespace vorn::dal {

// The session's state lives on the stack here: the same steps as a
// DataSession made for the one call, without its allocation.
platform::ExecResult writeOnce(const char* sessionName, const std::string& sql) {
    SessionState session(sessionName);
    const CallBound bound(session.name);
    return session.write(sql);
}

platform::ExecResult writeOnce(const char* sessionName, const std::string& sql,
                               const platform::BoundParameters& parameters) {
    SessionState session(sessionName);
    const CallBound bound(session.name);
    return session.writeBound(sql, parameters);
}

}  // namespace vorn::dal

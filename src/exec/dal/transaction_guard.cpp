#include "exec/dal/transaction_guard.h"

#include "exec/dal/backend.h"
#include "exec/dal/error_class.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

// Whether a unit that failed this way may succeed when run again: nothing of
// it can have been committed.
bool retryable(ErrorCategory category) {
    return category == ErrorCategory::Busy || category == ErrorCategory::ConnectionLost;
}

}  // namespace

platform::ExecResult TransactionGuard::admit(CallUse use, bool& endedLost) {
    endedLost = false;
    if (m_state != State::Lost) {
        return {};
    }
    if (use != CallUse::Commit && use != CallUse::Rollback) {
        return platform::ExecResult::failure(m_code, m_message);
    }
    m_state = State::None;
    endedLost = true;
    return use == CallUse::Commit
               ? platform::ExecResult::failure(m_code, m_message + "; nothing was committed")
               : platform::ExecResult();
}

void TransactionGuard::observe(CallUse use, const Connection& connection,
                               const platform::ExecResult& status, const std::string& session) {
    const bool open = connection.usable() && connection.inTransaction();
    switch (m_state) {
        case State::None:
            // A read never begins one, and a read still streaming hides the
            // state of the connection (PostgreSQL).
            if (open && status.ok() && (use == CallUse::Begin || use == CallUse::Write)) {
                m_state = State::Open;
            }
            return;
        case State::Open:
            if (use == CallUse::Commit || use == CallUse::Rollback) {
                m_state = open ? State::Open : State::None;  // a commit may fail and leave it open
            } else if (!open && !status.ok()) {
                lose(status, session);
            } else if (!open && use == CallUse::Write) {
                m_state = State::None;  // the caller's own COMMIT or ROLLBACK text
            }
            return;
        case State::Lost:
            return;
    }
}

void TransactionGuard::connectionGone(const std::string& session) {
    if (m_state == State::Open) {
        lose(platform::ExecResult::failure(0, "the connection it was open on was lost or closed"),
             session);
    }
}

void TransactionGuard::lose(const platform::ExecResult& cause, const std::string& session) {
    const std::string detail = cause.detail().value_or("");
    const bool again =
        cause.errorCode() == 0 ||
        retryable(classifySessionFailure(cause.errorCode(), detail, false, session).category);
    m_state = State::Lost;
    m_code = again ? platform::errc::kTransactionRolledBack : platform::errc::kTransactionAborted;
    m_message = "the transaction on session \"" + session + "\" was lost: the store ended it (" +
                detail + "); every call fails until rollbackTransaction()";
}

}  // namespace vorn::dal

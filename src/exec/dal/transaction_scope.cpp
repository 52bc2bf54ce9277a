#include "exec/dal/transaction_scope.h"

#include "exec/dal/call_bound.h"

namespace vorn::dal {
namespace {

constexpr const char* kSavepoint = "SAVEPOINT vorn_unit";
constexpr const char* kRelease = "RELEASE SAVEPOINT vorn_unit";
constexpr const char* kRollbackTo = "ROLLBACK TO SAVEPOINT vorn_unit";

}  // namespace

const char* TransactionScope::beginSql() const noexcept {
    return m_kind == Kind::Savepoint ? kSavepoint : m_kind == Kind::Transaction ? "BEGIN" : nullptr;
}

const char* TransactionScope::commitSql() const noexcept {
    return m_kind == Kind::Savepoint ? kRelease : m_kind == Kind::Transaction ? "COMMIT" : nullptr;
}

platform::ExecResult TransactionScope::begin() {
    if (m_kind == Kind::None) {
        return {};
    }
    platform::ExecResult status = m_run(beginSql());
    m_open = status.ok();
    return status;
}

platform::ExecResult TransactionScope::commit() {
    if (!m_open) {
        return {};
    }
    platform::ExecResult status = m_run(commitSql());
    m_open = !status.ok();
    return status;
}

void TransactionScope::undo() noexcept {
    if (!m_open) {
        return;
    }
    m_open = false;
    limitCall(kOwnStepBound);
    // The unit has failed already: what undoing it returns changes nothing
    // for the caller, who gets the first failure.
    if (m_kind == Kind::Savepoint) {
        static_cast<void>(m_run(kRollbackTo));
        static_cast<void>(m_run(kRelease));
    } else {
        static_cast<void>(m_run("ROLLBACK"));
    }
}

}  // namespace vorn::dal

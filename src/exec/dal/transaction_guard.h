#pragma once

#include <cstdint>
#include <string>

#include "vorn/platform/data_access.h"

namespace vorn::dal {

class Connection;

// What a call will do with its connection (see acquireConnection).
enum class CallUse : std::uint8_t { Read, Write, Begin, Commit, Rollback };

// Keeps the caller's transaction whole on one thread and session name (one
// slot of the connection cache, whose connection may change under it).
//
// A store may end a transaction on its own: SQLite rolls the whole
// transaction back on a full disk, some I/O errors, out of memory and some
// busy cases; a PostgreSQL transaction goes with its connection (a failover,
// pg_terminate_backend). Were the caller's next statement to run, it would
// run in autocommit and commit half a unit. So once the guard has seen the
// transaction lost, every call of the session fails, touching no connection,
// with errc::kTransactionRolledBack (the cause is safe to retry: nothing was
// committed and running the unit again may succeed) or
// errc::kTransactionAborted (any other cause), until the caller ends the
// transaction: a rollback returns 0, a commit fails with the same code. That
// is PostgreSQL's own rule for a failed transaction, which refuses everything
// but its end.
//
// Used by the slot's thread only.
class TransactionGuard {
  public:
    bool lost() const noexcept { return m_state == State::Lost; }

    // Before a call: its refusal while the transaction is lost. A rollback
    // or commit ends the lost transaction (endedLost true): a rollback then
    // has nothing to do, as the store holds no transaction any more.
    platform::ExecResult admit(CallUse use, bool& endedLost);

    // After a call that ran on connection with the given outcome: notes a
    // transaction begun (by beginTransaction or the caller's BEGIN text),
    // ended, or lost with the call.
    void observe(CallUse use, const Connection& connection, const platform::ExecResult& status,
                 const std::string& session);

    // The slot's connection is being closed or replaced: a transaction open
    // on it is lost.
    void connectionGone(const std::string& session);

  private:
    enum class State : std::uint8_t { None, Open, Lost };

    void lose(const platform::ExecResult& cause, const std::string& session);

    State m_state = State::None;
    std::uint64_t m_code = 0;  // errc::kTransactionRolledBack or kTransactionAborted
    std::string m_message;
};

}  // namespace vorn::dal

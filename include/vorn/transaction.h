#pragma once

/// @file
/// @brief A transaction as a scope, and a runner that runs a unit of work
/// again when that is safe.
///
/// Both work on the calls of CVORN (beginTransaction, commitTransaction,
/// rollbackTransaction), whose transaction belongs to the calling thread and
/// the database object's session name: a unit of work is the calls the thread
/// makes on that session between the begin and the commit.
///
/// A store may end a transaction on its own (SQLite on a full disk, an I/O
/// error or some busy cases; PostgreSQL when the connection goes, by a
/// failover or pg_terminate_backend). The library then fails every call of the
/// session on the thread, with errc::kTransactionRolledBack (ErrorCategory::
/// Busy: safe to run the unit again) or errc::kTransactionAborted
/// (ErrorCategory::Other), until the caller rolls back (which returns 0) or
/// commits (which fails with the same code): nothing of the unit is ever
/// committed half.

#include <chrono>
#include <cstdint>
#include <functional>

#include "vorn/export.h"

class CVORN;

namespace vorn {

/// The isolation level a transaction asks for.
///
/// PostgreSQL runs the level asked for (Default: the server's
/// default_transaction_isolation, READ COMMITTED unless configured). SQLite
/// has one level, which is serializable: every level runs as Serializable, a
/// stronger level than asked, which the SQL standard allows; the library's
/// SQLite transactions take the write lock at their begin, so a unit that reads
/// before it writes never fails on a stale snapshot.
enum class Isolation : std::uint8_t {
    Default,         ///< the store's default
    ReadCommitted,   ///< READ COMMITTED
    RepeatableRead,  ///< REPEATABLE READ
    Serializable     ///< SERIALIZABLE
};

/// How runTransaction() runs a unit again after a failure that is safe to
/// retry: after the n-th run fails, it waits a random time between half and
/// all of min(firstBackoff * 2^(n-1), maxBackoff) (jittered, so that units
/// that collided do not collide again), never past the thread's
/// vorn::CallDeadline.
struct RetryPolicy {
    int maxAttempts = 5;                         ///< runs of the unit at most (1: no retry)
    std::chrono::milliseconds firstBackoff{10};  ///< the wait after the first failure
    std::chrono::milliseconds maxBackoff{1000};  ///< the longest wait
};

/// A transaction of a database object as a scope: begun by the constructor,
/// then committed or rolled back by the caller; the destructor rolls back one
/// neither committed nor rolled back (a return or an exception on the way).
///
/// @code
/// vorn::Transaction tx(*db, vorn::Isolation::Serializable);
/// if (tx.begun() != 0) return tx.begun();
/// if (unsigned long code = db->execWriteSQL(debit)) return code;  // rolled back
/// if (unsigned long code = db->execWriteSQL(credit)) return code;
/// return tx.commit();
/// @endcode
///
/// The object keeps a reference to db, which must outlive it. Move-only.
class VORN_API Transaction {
  public:
    /// Begins a transaction on db's session for the calling thread: with
    /// db.beginTransaction(), or at the isolation level asked for (a database
    /// object of another kind than MIRAsqlDB takes Isolation::Default only,
    /// and any other level is refused with code 1).
    explicit Transaction(CVORN& db, Isolation isolation = Isolation::Default);
    /// Rolls back a transaction that was begun and neither committed nor
    /// rolled back; the outcome is not reported (and nothing is thrown).
    ~Transaction();
    /// Takes over other's transaction; other is left inactive.
    Transaction(Transaction&& other) noexcept;
    /// Rolls back this object's transaction if it is active, then takes over
    /// other's; other is left inactive.
    Transaction& operator=(Transaction&& other) noexcept;
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    /// What the begin returned: 0 when the transaction is open.
    unsigned long begun() const noexcept { return m_begun; }
    /// Whether the transaction is open: begun, and neither committed nor
    /// rolled back.
    bool active() const noexcept { return m_db != nullptr && m_active; }
    /// Commits: 0, or the store's code. After a failed commit the transaction
    /// counts as open still (SQLite keeps it open after a busy or a deferred
    /// constraint), so rollback() or the destructor ends it; on PostgreSQL
    /// the server has ended it already, and the rollback finds nothing to do.
    /// 1 when the transaction is not active (nothing is sent).
    unsigned long commit();
    /// Rolls back: 0, or the store's code; 0 when the transaction is not
    /// active (nothing is sent).
    unsigned long rollback();

  private:
    CVORN* m_db;
    unsigned long m_begun;
    bool m_active;
};

/// Runs unit in a transaction of db, and runs it again when that is safe.
///
/// Each run begins a transaction (at isolation), calls unit(db), commits
/// when it returns 0 and rolls back when it returns nonzero or throws (the
/// exception is passed on; the unit is not run again). When the begin, the
/// unit or the commit fails with a failure that left nothing of the unit
/// committed and that may not happen again, the runner rolls back, waits
/// (see RetryPolicy) and runs the unit again, up to policy.maxAttempts runs:
///   - ErrorCategory::Busy: a serialization failure (40001), a deadlock
///     (40P01), a lock not available (55P03), SQLite's busy and locked codes,
///     a lost transaction safe to retry (errc::kTransactionRolledBack), no
///     connection free in the budget;
///   - ErrorCategory::ConnectionLost raised before the COMMIT went out, or
///     by a COMMIT the server refused (pg_terminate_backend).
/// A COMMIT whose outcome is unknown (the connection went after it was sent,
/// or the call's deadline passed before the answer) is never run again: the
/// runner returns its code, of ErrorCategory::InDoubt, and vorn::lastError()
/// holds it. Anything else ends the runner with the failure's code.
///
/// Returns 0 when a run committed, otherwise the code that ended the last
/// run (the begin's, the unit's return value, or the commit's), which
/// vorn::lastError() describes when a call of the library returned it. Each
/// run again is a StatementKind::Retry in the statistics and the statement events, carrying
/// the failure that caused it. unit must leave the transaction to the runner
/// (no commit or rollback of its own), and must be safe to run more than
/// once: its effects outside the store happen once per run.
VORN_API unsigned long runTransaction(CVORN& db, const std::function<unsigned long(CVORN&)>& unit,
                                      const RetryPolicy& policy = {},
                                      Isolation isolation = Isolation::Default);

}  // namespace vorn

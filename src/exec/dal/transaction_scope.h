#pragma once

#include <functional>

#include "vorn/platform/data_access.h"

namespace vorn::dal {

// Makes one unit of work (a batch, a statement inside the caller's
// transaction) atomic on a connection, as a scope: begun, then either
// committed, or undone when the scope ends without a commit.
//
//   TransactionScope scope(TransactionScope::Kind::Savepoint, run);
//   status = scope.begin();           // SAVEPOINT vorn_unit
//   ... the work ...
//   if (ok) status = scope.commit();  // RELEASE SAVEPOINT vorn_unit
//   // otherwise the destructor runs ROLLBACK TO SAVEPOINT and RELEASE
//
// A backend that sends the opening and closing statements itself, together
// with the work (PostgreSQL pipelines them into one round trip), takes their
// texts from beginSql() and commitSql() and reports them with begun() and
// committed(); the undo still runs through the scope.
class TransactionScope {
  public:
    enum class Kind {
        None,         // the work is atomic by itself: nothing is sent
        Savepoint,    // inside the open transaction (outside one, SQLite's savepoint is one)
        Transaction,  // a transaction of its own
    };

    // Runs one control statement on the connection, now.
    using Run = std::function<platform::ExecResult(const char* sql)>;

    TransactionScope(Kind kind, Run run) : m_kind(kind), m_run(std::move(run)) {}
    ~TransactionScope() { undo(); }
    TransactionScope(const TransactionScope&) = delete;
    TransactionScope& operator=(const TransactionScope&) = delete;

    // The statements that open and close the unit; null for Kind::None.
    const char* beginSql() const noexcept;
    const char* commitSql() const noexcept;

    platform::ExecResult begin();
    platform::ExecResult commit();
    void begun() noexcept { m_open = m_kind != Kind::None; }
    void committed() noexcept { m_open = false; }

    // Undoes the unit now if it is open (results ignored: a store that has
    // already rolled back, or a lost connection, leaves nothing to undo).
    void undo() noexcept;

  private:
    Kind m_kind;
    Run m_run;
    bool m_open = false;
};

}  // namespace vorn::dal

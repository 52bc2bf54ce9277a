#pragma once

#include <sqlite3.h>

#include <memory>

#include "exec/dal/backend.h"
#include "exec/dal/sqlite/statement.h"
#include "exec/dal/sqlite/statement_cache.h"

namespace vorn::dal {

// The rows of one SQLite read. The statement has already been stepped to its
// first row (or to its end) when the cursor is made; each fetch hands out the
// current row and steps on at the following fetch, so the statement stays
// open only while rows remain.
//
// Fields: INTEGER and REAL values as the numbers they are (their text is
// rendered only for a caller that wants text: integers in decimal, REAL as
// the shortest text that reads back to the same double), NULL as the empty
// text, TEXT and BLOB bytes as they are.
class SqliteCursor final : public Cursor {
  public:
    // stmt has just returned SQLITE_ROW from its first step; it is finalized
    // when the rows end.
    explicit SqliteCursor(SqliteStatement stmt);
    // The same for a bound statement's prepared form, given back to home (if
    // it is still there) when the rows end.
    SqliteCursor(std::unique_ptr<SqlitePrepared> prepared,
                 std::weak_ptr<SqliteStatementCache> home) noexcept
        : m_prepared(std::move(prepared)), m_home(std::move(home)) {}
    ~SqliteCursor() override { end(); }
    SqliteCursor(const SqliteCursor&) = delete;
    SqliteCursor& operator=(const SqliteCursor&) = delete;

    bool fetch(platform::Row& row, platform::ExecResult& status) override;

  private:
    // Ends the read at once: the statement is finalized or given back.
    void end() noexcept;

    std::unique_ptr<SqlitePrepared> m_prepared;  // null once the rows ended
    std::weak_ptr<SqliteStatementCache> m_home;
    bool m_rowPending = true;  // the current row has not been handed out yet
};

}  // namespace vorn::dal

#pragma once

#include <sqlite3.h>

#include "exec/dal/backend.h"
#include "exec/dal/sqlite/statement.h"

namespace vorn::dal {

// The rows of one SQLite read. The statement has already been stepped to its
// first row (or to its end) when the cursor is made; each fetch hands out the
// current row and steps on at the following fetch, so the statement stays
// open only while rows remain.
//
// Text form of the fields: NULL as the empty text, integers in decimal, REAL
// as the shortest text that reads back to the same double, TEXT and BLOB
// bytes as they are.
class SqliteCursor final : public Cursor {
  public:
    // stmt has just returned SQLITE_ROW from its first step.
    explicit SqliteCursor(SqliteStatement stmt) noexcept : m_stmt(std::move(stmt)) {}

    bool fetch(platform::Row& row, platform::ExecResult& status) override;

  private:
    SqliteStatement m_stmt;
    bool m_rowPending = true;  // the current row has not been handed out yet
};

}  // namespace vorn::dal

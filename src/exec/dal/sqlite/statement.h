#pragma once

#include <sqlite3.h>

#include <string>

#include "exec/dal/batch_parameters.h"
#include "exec/dal/sql_lexer.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

// SQLite's quoting: [name] and `name` identifiers besides "name"; comments do
// not nest.
constexpr SqlDialect sqliteDialect() {
    SqlDialect dialect;
    dialect.bracketIdentifiers = true;
    return dialect;
}
inline constexpr SqlDialect kSqliteDialect = sqliteDialect();

// Owns one prepared SQLite statement.
class SqliteStatement {
  public:
    SqliteStatement() = default;
    ~SqliteStatement() { sqlite3_finalize(m_stmt); }
    SqliteStatement(SqliteStatement&& other) noexcept : m_stmt(other.m_stmt) {
        other.m_stmt = nullptr;
    }
    SqliteStatement& operator=(SqliteStatement&& other) noexcept;
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;

    // Prepares the one statement of sql. Text that holds a further statement
    // after the first is refused with errc::kMultipleStatements. Text with no
    // statement at all (blanks, comments) succeeds and leaves get() null.
    platform::ExecResult prepare(sqlite3* db, const std::string& sql);

    sqlite3_stmt* get() const noexcept { return m_stmt; }

  private:
    sqlite3_stmt* m_stmt = nullptr;
};

// Binds one value (see BatchValue; kNullValue binds NULL) to parameter index.
// A text is bound without a copy (SQLITE_STATIC), so it must outlive the
// statement's steps, unless textLifetime is SQLITE_TRANSIENT. Returns
// SQLite's result code.
int sqliteBind(sqlite3_stmt* stmt, int index, const BatchValue& value,
               sqlite3_destructor_type textLifetime = SQLITE_STATIC);

// The connection's last error as a failed result: its extended result code and
// sqlite3_errmsg as the detail.
platform::ExecResult sqliteFailure(sqlite3* db);

// Runs a statement without parameters or rows (BEGIN, PRAGMA ..., ...).
platform::ExecResult sqliteExec(sqlite3* db, const char* sql);

}  // namespace vorn::dal

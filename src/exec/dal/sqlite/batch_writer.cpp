#include "exec/dal/sqlite/batch_writer.h"

#include <cstdint>
#include <vector>

#include "exec/dal/batch_parameters.h"
#include "exec/dal/sqlite/statement.h"
#include "exec/dal/transaction_scope.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;

// Steps the bound statement to its end and readies it for the next row.
ExecResult stepRow(sqlite3* db, sqlite3_stmt* stmt) {
    int rc = SQLITE_ROW;
    while (rc == SQLITE_ROW) {
        rc = sqlite3_step(stmt);
    }
    if (rc != SQLITE_DONE) {
        return sqliteFailure(db);
    }
    sqlite3_reset(stmt);
    return {};
}

}  // namespace

ExecResult SqliteBatchWriter::run(const std::string& sql, const BatchParameters& parameters) {
    sqlite3* const db = m_db;
    std::string text;
    std::vector<const BatchColumn*> bound;
    ExecResult status = parameters.bindPlaceholders(sql, kSqliteDialect, '?', text, bound);
    if (!status.ok()) {
        return status;
    }
    SqliteStatement stmt;
    status = stmt.prepare(db, text);
    if (!status.ok() || stmt.get() == nullptr) {
        return status;
    }
    sqlite3_stmt* const s = stmt.get();
    // Some errors (SQLITE_FULL, SQLITE_IOERR, ...) make SQLite roll back the
    // whole transaction itself; the savepoint is then gone and its undo fails
    // harmlessly.
    TransactionScope scope(TransactionScope::Kind::Savepoint, [db, s](const char* control) {
        sqlite3_reset(s);
        return sqliteExec(db, control);
    });
    status = scope.begin();
    if (status.ok()) {
        status = parameters.forEachRow(
            bound,
            [s](std::size_t parameter, const BatchValue& value) {
                const int rc = sqliteBind(s, static_cast<int>(parameter + 1), value);
                return rc == SQLITE_OK ? ExecResult()
                                       : ExecResult::failure(static_cast<std::uint64_t>(rc),
                                                             sqlite3_errstr(rc));
            },
            [db, s](std::size_t /*row*/) { return stepRow(db, s); });
    }
    return status.ok() ? scope.commit() : status;
}

}  // namespace vorn::dal

#include "exec/dal/sqlite/batch_writer.h"

#include <cstdint>
#include <vector>

#include "exec/dal/batch_parameters.h"
#include "exec/dal/sqlite/statement.h"
#include "exec/dal/transaction_scope.h"
#include "vorn/platform/type_registry.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;
namespace typecode = platform::typecode;

int bindValue(sqlite3_stmt* stmt, int index, const BatchValue& value) {
    switch (value.code) {
        case typecode::kString:
            return sqlite3_bind_text64(stmt, index, value.text().data(), value.text().size(),
                                       SQLITE_STATIC, SQLITE_UTF8);
        case typecode::kInt64:
            return sqlite3_bind_int64(stmt, index, value.as<std::int64_t>());
        case typecode::kUInt64:
            return sqlite3_bind_int64(stmt, index,
                                      static_cast<sqlite3_int64>(value.as<std::uint64_t>()));
        case typecode::kFloat:
            return sqlite3_bind_double(stmt, index, static_cast<double>(value.as<float>()));
        case typecode::kDouble:
            return sqlite3_bind_double(stmt, index, value.as<double>());
        default:
            return SQLITE_MISMATCH;
    }
}

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

ExecResult runSqliteBatch(sqlite3* db, const std::string& sql, const BatchParameters& parameters) {
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
                const int rc = bindValue(s, static_cast<int>(parameter + 1), value);
                return rc == SQLITE_OK ? ExecResult()
                                       : ExecResult::failure(static_cast<std::uint64_t>(rc),
                                                             sqlite3_errstr(rc));
            },
            [db, s](std::size_t /*row*/) { return stepRow(db, s); });
    }
    return status.ok() ? scope.commit() : status;
}

}  // namespace vorn::dal

#include "exec/dal/sqlite/connection.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "exec/dal/sqlite/batch_writer.h"
#include "exec/dal/sqlite/cursor.h"
#include "exec/dal/sqlite/statement.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;

ExecResult openFailure(sqlite3* db, int rc, const std::string& path) {
    const int code = db != nullptr ? sqlite3_extended_errcode(db) : rc;
    const char* message = db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    return ExecResult::failure(static_cast<std::uint64_t>(code),
                               std::string(message) + ": " + path);
}

}  // namespace

std::unique_ptr<SqliteConnection> SqliteConnection::open(const SqliteSettings& settings,
                                                         ExecResult& status) {
    int flags = SQLITE_OPEN_NOMUTEX;
    switch (settings.mode) {
        case SqliteSettings::Mode::ReadOnly:
            flags |= SQLITE_OPEN_READONLY;
            break;
        case SqliteSettings::Mode::ReadWrite:
            flags |= SQLITE_OPEN_READWRITE;
            break;
        case SqliteSettings::Mode::ReadWriteCreate:
            flags |= SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
            break;
    }
    sqlite3* db = nullptr;
    const int rc = sqlite3_open_v2(settings.path.c_str(), &db, flags, nullptr);
    if (rc != SQLITE_OK) {
        status = openFailure(db, rc, settings.path);
        sqlite3_close_v2(db);
        return nullptr;
    }
    const bool readOnly = settings.mode == SqliteSettings::Mode::ReadOnly;
    std::unique_ptr<SqliteConnection> connection(new SqliteConnection(db, readOnly));
    sqlite3_extended_result_codes(db, 1);
    sqlite3_busy_timeout(db, settings.busyTimeoutMs);
    if (!readOnly) {
        // The pragma touches the file, so this is where a file that is not a
        // database, or cannot be written, shows.
        const std::string journal = "PRAGMA journal_mode=" + settings.journalMode;
        status = sqliteExec(db, journal.c_str());
        if (!status.ok()) {
            return nullptr;
        }
    }
    if (!settings.synchronous.empty()) {
        const std::string synchronous = "PRAGMA synchronous=" + settings.synchronous;
        status = sqliteExec(db, synchronous.c_str());
        if (!status.ok()) {
            return nullptr;
        }
    }
    status = ExecResult();
    return connection;
}

SqliteConnection::~SqliteConnection() {
    // close_v2 waits for statements still open (a reader's cursor) to be
    // finalized before the handle goes away.
    sqlite3_close_v2(m_db);
}

ExecResult SqliteConnection::begin() {
    return sqliteExec(m_db, m_readOnly ? "BEGIN" : "BEGIN IMMEDIATE");
}

ExecResult SqliteConnection::commit() {
    return sqliteExec(m_db, "COMMIT");
}

ExecResult SqliteConnection::rollback() {
    return sqliteExec(m_db, "ROLLBACK");
}

ExecResult SqliteConnection::execute(const std::string& sql) {
    SqliteStatement stmt;
    ExecResult status = stmt.prepare(m_db, sql);
    if (!status.ok() || stmt.get() == nullptr) {
        return status;
    }
    int rc = SQLITE_ROW;
    while (rc == SQLITE_ROW) {
        rc = sqlite3_step(stmt.get());
    }
    if (rc != SQLITE_DONE) {
        return sqliteFailure(m_db);
    }
    return status;
}

ExecResult SqliteConnection::query(const std::string& sql, std::unique_ptr<Cursor>& cursor) {
    cursor.reset();
    SqliteStatement stmt;
    ExecResult status = stmt.prepare(m_db, sql);
    if (!status.ok() || stmt.get() == nullptr) {
        return status;
    }
    // Step to the first row here, so that errors show at execution.
    const int rc = sqlite3_step(stmt.get());
    if (rc == SQLITE_ROW) {
        cursor = std::make_unique<SqliteCursor>(std::move(stmt));
    } else if (rc != SQLITE_DONE) {
        return sqliteFailure(m_db);
    }
    return status;
}

ExecResult SqliteConnection::executeBatch(const std::string& sql,
                                          const BatchParameters& parameters) {
    return runSqliteBatch(m_db, sql, parameters);
}

}  // namespace vorn::dal

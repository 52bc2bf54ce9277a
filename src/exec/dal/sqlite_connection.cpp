#include "exec/dal/sqlite_connection.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "exec/dal/batch_parameters.h"
#include "exec/dal/sqlite_cursor.h"
#include "exec/dal/sqlite_statement.h"
#include "vorn/platform/error_codes.h"
#include "vorn/platform/type_registry.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;
namespace typecode = platform::typecode;

ExecResult openFailure(sqlite3* db, int rc, const std::string& path) {
    const int code = db != nullptr ? sqlite3_extended_errcode(db) : rc;
    const char* message = db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    return ExecResult::failure(static_cast<std::uint64_t>(code),
                               std::string(message) + ": " + path);
}

// Binds one element of a batch column to parameter index.
int bindElement(sqlite3_stmt* stmt, int index, std::uint32_t elementCode, const void* element) {
    switch (elementCode) {
        case typecode::kString: {
            const auto* text = static_cast<const std::string*>(element);
            return sqlite3_bind_text64(stmt, index, text->data(), text->size(), SQLITE_STATIC,
                                       SQLITE_UTF8);
        }
        case typecode::kInt64:
            return sqlite3_bind_int64(stmt, index, *static_cast<const std::int64_t*>(element));
        case typecode::kUInt64:
            // Stored as the signed value of the same 64 bits: values above
            // INT64_MAX read back as negative decimals.
            return sqlite3_bind_int64(
                stmt, index,
                static_cast<sqlite3_int64>(*static_cast<const std::uint64_t*>(element)));
        case typecode::kFloat:
            return sqlite3_bind_double(stmt, index,
                                       static_cast<double>(*static_cast<const float*>(element)));
        case typecode::kDouble:
            return sqlite3_bind_double(stmt, index, *static_cast<const double*>(element));
        default:
            return SQLITE_MISMATCH;
    }
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
    std::string text;
    std::vector<const BatchColumn*> bound;
    ExecResult status = parameters.bindPlaceholders(sql, '?', text, bound);
    if (!status.ok()) {
        return status;
    }
    SqliteStatement stmt;
    status = stmt.prepare(m_db, text);
    if (!status.ok() || stmt.get() == nullptr) {
        return status;
    }
    // The savepoint nests in the caller's transaction when one is open on this
    // connection, and is a transaction of its own otherwise.
    status = sqliteExec(m_db, "SAVEPOINT vorn_batch");
    if (!status.ok()) {
        return status;
    }
    sqlite3_stmt* const s = stmt.get();
    const std::size_t columns = bound.size();
    BatchRowWalker walker(bound);
    for (std::size_t row = 0; row < parameters.rows() && status.ok(); ++row) {
        for (std::size_t i = 0; i < columns; ++i) {
            const void* element = walker.element(i);
            if (element == nullptr) {
                status = ExecResult::failure(platform::errc::kBadParameters,
                                             "batch column ended before its count");
                break;
            }
            const int rc = bindElement(s, static_cast<int>(i + 1), bound[i]->elementCode, element);
            if (rc != SQLITE_OK) {
                status = ExecResult::failure(static_cast<std::uint64_t>(rc), sqlite3_errstr(rc));
                break;
            }
        }
        if (!status.ok()) {
            break;
        }
        int rc = SQLITE_ROW;
        while (rc == SQLITE_ROW) {
            rc = sqlite3_step(s);
        }
        if (rc != SQLITE_DONE) {
            status = sqliteFailure(m_db);
            break;
        }
        sqlite3_reset(s);
        walker.next();
    }
    if (status.ok()) {
        status = sqliteExec(m_db, "RELEASE vorn_batch");
        if (status.ok()) {
            return status;
        }
    }
    // Undo every row of the batch. Some errors (SQLITE_FULL, SQLITE_IOERR,
    // ...) make SQLite roll back the whole transaction itself; the savepoint
    // is then gone and these fail harmlessly.
    sqlite3_reset(s);
    sqliteExec(m_db, "ROLLBACK TO vorn_batch");
    sqliteExec(m_db, "RELEASE vorn_batch");
    return status;
}

}  // namespace vorn::dal

#include "exec/dal/sqlite/connection.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "exec/dal/sql_lexer.h"
#include "exec/dal/sqlite/batch_writer.h"
#include "exec/dal/sqlite/cursor.h"
#include "exec/dal/sqlite/statement.h"
#include "exec/platform/ascii.h"
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

// The first field of the first row of sql ("" for none).
ExecResult firstField(sqlite3* db, const std::string& sql, std::string& value) {
    value.clear();
    SqliteStatement stmt;
    ExecResult status = stmt.prepare(db, sql);
    if (!status.ok() || stmt.get() == nullptr) {
        return status;
    }
    const int rc = sqlite3_step(stmt.get());
    if (rc == SQLITE_ROW) {
        const auto* text = sqlite3_column_text(stmt.get(), 0);
        value = text != nullptr ? reinterpret_cast<const char*>(text) : "";
    } else if (rc != SQLITE_DONE) {
        return sqliteFailure(db);
    }
    return status;
}

// Sets the journal mode (not on a read-only connection) and the synchronous
// level; journal is the journal mode in effect afterwards ("memory" for an
// in-memory database, whatever was asked for; "" when read-only).
ExecResult applyPragmas(sqlite3* db, const SqliteSettings& settings, std::string& journal) {
    ExecResult status;
    journal.clear();
    if (settings.mode != SqliteSettings::Mode::ReadOnly) {
        // The pragma touches the file, so this is where a file that is not a
        // database, or cannot be written, shows.
        status = firstField(db, "PRAGMA journal_mode=" + settings.journalMode, journal);
    }
    if (!status.ok() || settings.synchronous.empty()) {
        return status;
    }
    const std::string synchronous = "PRAGMA synchronous=" + settings.synchronous;
    return sqliteExec(db, synchronous.c_str());
}

// Whether sql starts as a query: SELECT, WITH or VALUES.
bool startsAsQuery(const std::string& sql) {
    SqlLexer lexer(sql, kSqliteDialect);
    const SqlLexer::Token first = lexer.next();
    return first.is(sql, "select") || first.is(sql, "with") || first.is(sql, "values");
}

// Whether sql makes a schema object only its own handle sees: CREATE TEMP
// ..., CREATE TEMPORARY ..., ATTACH ...
bool makesLocalSchema(const std::string& sql) {
    // Text that starts with a letter starts with its first word, so one that
    // starts with any letter but 'a' or 'c' needs no lexing (every write
    // passes here).
    const char lead = sql.empty() ? '\0' : platform::lowerAscii(sql[0]);
    if (lead >= 'b' && lead <= 'z' && lead != 'c') {
        return false;
    }
    SqlLexer lexer(sql, kSqliteDialect);
    const SqlLexer::Token first = lexer.next();
    if (first.is(sql, "attach")) {
        return true;
    }
    if (!first.is(sql, "create")) {
        return false;
    }
    const SqlLexer::Token second = lexer.next();
    return second.is(sql, "temp") || second.is(sql, "temporary");
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
    std::unique_ptr<SqliteConnection> connection(
        new SqliteConnection(db, readOnly, settings.busyTimeoutMs));
    sqlite3_extended_result_codes(db, 1);
    connection->m_busyWait.install(db);
    std::string journal;
    status = applyPragmas(db, settings, journal);
    if (!status.ok()) {
        return nullptr;
    }
    // The full name, so that a later change of directory cannot matter.
    const char* const file = sqlite3_db_filename(db, "main");
    if (journal == "wal") {
        // A first read opens the -wal and -shm files, so that the watch notes
        // them as this file's.
        status = sqliteExec(db, "SELECT 1 FROM sqlite_master LIMIT 0");
        if (!status.ok()) {
            return nullptr;
        }
        connection->m_readers = std::make_unique<SqliteReadHandles>(file, settings.busyTimeoutMs);
    }
    connection->m_file = SqliteFileWatch(file != nullptr ? file : "");
    status = ExecResult();
    return connection;
}

SqliteConnection::~SqliteConnection() {
    // The file's last connection to close checkpoints the write-ahead log
    // into the database file and removes it (and the -shm file), but only a
    // handle that may write can, and close_v2 keeps a handle open until its
    // statements are finalized. So the kept prepared statements go first
    // (those of the read handles among them), then the read-only handles,
    // and the writer last. A file found replaced is left to SQLite, which
    // checkpoints nothing into a file that is no longer at its path.
    m_statements.reset();
    m_readers.reset();
    sqlite3_close_v2(m_db);
}

bool SqliteConnection::fileReplaced() {
    if (m_replaced.load(std::memory_order_relaxed)) {
        return true;
    }
    if (!m_file.replaced()) {
        return false;
    }
    m_file.dropSideFiles();
    m_replaced.store(true, std::memory_order_relaxed);
    return true;
}

ExecResult SqliteConnection::begin(Isolation /*isolation*/) {
    return sqliteExec(m_db, m_readOnly ? "BEGIN" : "BEGIN IMMEDIATE");
}

// Statements inside a transaction do not look at the file, at no cost to
// them; the commit does, so that no transaction is committed into a file that
// is no longer at its path.
ExecResult SqliteConnection::commit() {
    if (inTransaction() && fileReplaced()) {
        static_cast<void>(sqliteExec(m_db, "ROLLBACK"));
        const char* const file = sqlite3_db_filename(m_db, "main");
        return ExecResult::failure(
            SQLITE_READONLY_DBMOVED,
            "the database file " + std::string(file != nullptr ? file : "") +
                " was deleted or replaced while the transaction was open; the transaction was "
                "rolled back, nothing was committed");
    }
    return sqliteExec(m_db, "COMMIT");
}

ExecResult SqliteConnection::rollback() {
    return sqliteExec(m_db, "ROLLBACK");
}

void SqliteConnection::noteLocalSchema(const std::string& sql) {
    if (m_readers && !m_localSchema && makesLocalSchema(sql)) {
        m_localSchema = true;
    }
}

sqlite3* SqliteConnection::readHandleFor(const std::string& sql) {
    // Inside a transaction a read must see the transaction's writes.
    if (!m_readers || m_localSchema || sqlite3_get_autocommit(m_db) == 0 || !startsAsQuery(sql)) {
        return m_db;
    }
    sqlite3* reader = m_readers->idle();
    return reader != nullptr ? reader : m_db;
}

// Steps stmt to its end; status gets the rows it changed.
ExecResult SqliteConnection::runToEnd(sqlite3_stmt* stmt) {
    const sqlite3_int64 changedBefore = sqlite3_total_changes64(m_db);
    int rc = SQLITE_ROW;
    while (rc == SQLITE_ROW) {
        rc = sqlite3_step(stmt);
    }
    if (rc != SQLITE_DONE) {
        return sqliteFailure(m_db);
    }
    ExecResult status;
    status.setRows(static_cast<std::uint64_t>(sqlite3_total_changes64(m_db) - changedBefore));
    return status;
}

ExecResult SqliteConnection::execute(const std::string& sql) {
    noteLocalSchema(sql);
    SqliteStatement stmt;
    ExecResult status = stmt.prepare(m_db, sql);
    if (!status.ok() || stmt.get() == nullptr) {
        return status;
    }
    return runToEnd(stmt.get());
}

ExecResult SqliteConnection::executeBound(const std::string& sql,
                                          const platform::BoundParameters& parameters) {
    std::unique_ptr<SqlitePrepared> prepared;
    ExecResult status = m_statements->take(m_db, sql, prepared);
    if (status.ok() && !prepared->ranBefore) {
        noteLocalSchema(sql);
    }
    if (status.ok() && prepared->stmt.get() != nullptr) {
        status = prepared->bind(parameters, false);
        if (status.ok()) {
            status = runToEnd(prepared->stmt.get());
        }
    }
    m_statements->give(std::move(prepared));
    return status;
}

ExecResult SqliteConnection::query(const std::string& sql, std::unique_ptr<Cursor>& cursor) {
    cursor.reset();
    noteLocalSchema(sql);
    sqlite3* db = readHandleFor(sql);
    SqliteStatement stmt;
    ExecResult status = stmt.prepare(db, sql);
    if (db != m_db && (!status.ok() || sqlite3_stmt_readonly(stmt.get()) == 0)) {
        // A statement that writes (WITH ... INSERT), or one the read handle
        // cannot prepare, runs where it always did; a real error shows there.
        db = m_db;
        status = stmt.prepare(db, sql);
    }
    if (!status.ok() || stmt.get() == nullptr) {
        return status;
    }
    // Step to the first row here, so that errors show at execution.
    const int rc = sqlite3_step(stmt.get());
    if (rc == SQLITE_ROW) {
        cursor = std::make_unique<SqliteCursor>(std::move(stmt));
    } else if (rc != SQLITE_DONE) {
        return sqliteFailure(db);
    }
    return status;
}

ExecResult SqliteConnection::queryBound(const std::string& sql,
                                        const platform::BoundParameters& parameters,
                                        std::unique_ptr<Cursor>& cursor) {
    cursor.reset();
    noteLocalSchema(sql);
    sqlite3* db = readHandleFor(sql);
    std::unique_ptr<SqlitePrepared> prepared;
    ExecResult status = m_statements->take(db, sql, prepared);
    if (db != m_db && (!status.ok() || sqlite3_stmt_readonly(prepared->stmt.get()) == 0)) {
        m_statements->give(std::move(prepared));
        db = m_db;
        status = m_statements->take(db, sql, prepared);
    }
    if (status.ok() && prepared->stmt.get() != nullptr) {
        status = prepared->bind(parameters, true);
    }
    if (!status.ok() || prepared->stmt.get() == nullptr) {
        m_statements->give(std::move(prepared));
        return status;
    }
    const int rc = sqlite3_step(prepared->stmt.get());
    if (rc == SQLITE_ROW) {
        cursor = std::make_unique<SqliteCursor>(std::move(prepared), m_statements);
        return status;
    }
    if (rc != SQLITE_DONE) {
        status = sqliteFailure(db);
    }
    m_statements->give(std::move(prepared));
    return status;
}

ExecResult SqliteConnection::executeBatch(const std::string& sql,
                                          const BatchParameters& parameters) {
    noteLocalSchema(sql);
    return SqliteBatchWriter(m_db).run(sql, parameters);
}

}  // namespace vorn::dal

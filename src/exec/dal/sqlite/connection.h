#pragma once

#include <sqlite3.h>

#include <atomic>
#include <memory>
#include <string>

#include "exec/dal/backend.h"
#include "exec/dal/sqlite/busy_wait.h"
#include "exec/dal/sqlite/file_watch.h"
#include "exec/dal/sqlite/read_handles.h"
#include "exec/dal/sqlite/settings.h"
#include "exec/dal/sqlite/statement_cache.h"

namespace vorn::dal {

// A connection to one SQLite file, used by one thread (opened without
// SQLite's own mutex). Opened in WAL journal mode with a busy timeout, so
// writers of other threads and processes wait for each other (BusyWait)
// instead of failing, and with extended result codes, which are passed on as
// error codes.
//
// Reads outside a transaction run on handles of their own (SqliteReadHandles),
// so that a reader the caller keeps open never makes the thread's next write
// fail; reads inside a transaction run on the transaction's handle and see its
// writes. A read-only connection, and a database that is not in WAL mode
// (":memory:" included, which a second handle would not even see), read on
// the one handle.
//
// A file deleted or replaced at its path (SqliteFileWatch) makes the
// connection unusable: the connection cache asks before each write or begin
// outside a transaction, and before it reuses a connection idle for a second,
// and then opens the file now at the path. A reader still open on the old
// connection reads on in the old file until it ends. Inside a transaction only
// the commit asks; it rolls the transaction back.
//
// Closing folds the write-ahead log back into the file and removes it, when
// this is the file's last connection: see the destructor.
class SqliteConnection final : public Connection {
  public:
    // Opens the file described by settings; null with status set on failure.
    static std::unique_ptr<SqliteConnection> open(const SqliteSettings& settings,
                                                  platform::ExecResult& status);
    ~SqliteConnection() override;
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    // BEGIN IMMEDIATE (plain BEGIN when read-only): the write lock is taken at
    // once, so a transaction that reads before it writes cannot fail later on
    // a snapshot another writer has made stale. SQLite's one isolation level
    // is serializable, which serves every level asked for.
    platform::ExecResult begin(Isolation isolation) override;
    // Fails with SQLITE_READONLY_DBMOVED, the transaction rolled back, when
    // the file was deleted or replaced since the connection opened it.
    platform::ExecResult commit() override;
    platform::ExecResult rollback() override;
    platform::ExecResult execute(const std::string& sql) override;
    platform::ExecResult query(const std::string& sql, std::unique_ptr<Cursor>& cursor) override;
    // Bound statements keep their prepared form per handle
    // (SqliteStatementCache).
    platform::ExecResult executeBound(const std::string& sql,
                                      const platform::BoundParameters& parameters) override;
    platform::ExecResult queryBound(const std::string& sql,
                                    const platform::BoundParameters& parameters,
                                    std::unique_ptr<Cursor>& cursor) override;
    // See SqliteBatchWriter.
    platform::ExecResult executeBatch(const std::string& sql,
                                      const BatchParameters& parameters) override;
    bool inTransaction() const override { return sqlite3_get_autocommit(m_db) == 0; }
    // One stat() of the path until the file is found replaced; then the side
    // files left beside the new one are removed (SqliteFileWatch) before
    // anything opens it. An in-memory or temporary database never is.
    bool fileReplaced() override;
    bool usable() const override { return !m_replaced.load(std::memory_order_relaxed); }
    // After an idle second a read sees a file put in place meanwhile too.
    bool stillOpen() override { return !fileReplaced(); }

  private:
    SqliteConnection(sqlite3* db, bool readOnly, int busyTimeoutMs) noexcept
        : m_db(db), m_readOnly(readOnly), m_busyWait(busyTimeoutMs) {}

    // The handle a read of sql starts on.
    sqlite3* readHandleFor(const std::string& sql);
    // Notes a temporary table or attached file, which only m_db knows.
    void noteLocalSchema(const std::string& sql);
    platform::ExecResult runToEnd(sqlite3_stmt* stmt);

    sqlite3* m_db;
    bool m_readOnly;
    BusyWait m_busyWait;
    std::unique_ptr<SqliteReadHandles> m_readers;  // null: every read on m_db
    // Shared with the cursors of open bound reads, which give their
    // statements back.
    std::shared_ptr<SqliteStatementCache> m_statements = std::make_shared<SqliteStatementCache>();
    bool m_localSchema = false;  // once set, reads stay on m_db
    SqliteFileWatch m_file;
    // Read by other threads through usable(), for a connection they might
    // take over.
    std::atomic<bool> m_replaced{false};
};

}  // namespace vorn::dal

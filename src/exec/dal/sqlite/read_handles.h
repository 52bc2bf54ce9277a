#pragma once

#include <sqlite3.h>

#include <string>
#include <vector>

#include "exec/dal/sqlite/busy_wait.h"

namespace vorn::dal {

// Handles of their own for the reads a connection runs outside a transaction.
//
// An unfinished read keeps a read transaction open on its handle, at the
// snapshot it started from. Were it on the writing handle, a write of the
// same thread would have to upgrade that old snapshot, and SQLite refuses
// that at once (SQLITE_BUSY_SNAPSHOT, without waiting) as soon as another
// connection has committed since. On a handle of its own the read pins no
// snapshot of the writer, and in WAL mode it blocks no writer either.
//
// A handle is handed out only while no read is open on it, so every read
// starts from the newest snapshot and sees what this thread committed before.
// Handles are opened on first need, read-only, with the writer's busy
// timeout, and kept; only WAL files get them (with a rollback journal an open
// read would block the thread's own writes).
class SqliteReadHandles {
  public:
    SqliteReadHandles(std::string path, int busyTimeoutMs)
        : m_path(std::move(path)), m_busyWait(busyTimeoutMs) {}
    ~SqliteReadHandles();
    SqliteReadHandles(const SqliteReadHandles&) = delete;
    SqliteReadHandles& operator=(const SqliteReadHandles&) = delete;

    // A handle with no read open on it; null when all are in use and no
    // further one may or can be opened (the caller then reads on its own).
    sqlite3* idle();

  private:
    // Enough for the readers a caller nests; more fall back to the writer.
    static constexpr std::size_t kMaxHandles = 4;

    std::string m_path;
    BusyWait m_busyWait;  // one for all: the handles wait on one thread
    std::vector<sqlite3*> m_handles;
    bool m_openFailed = false;  // the file cannot be opened read-only: stop trying
};

}  // namespace vorn::dal

#include "exec/dal/sqlite/read_handles.h"

namespace vorn::dal {
namespace {

bool readOpen(sqlite3* db) {
    for (sqlite3_stmt* stmt = sqlite3_next_stmt(db, nullptr); stmt != nullptr;
         stmt = sqlite3_next_stmt(db, stmt)) {
        if (sqlite3_stmt_busy(stmt) != 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

SqliteReadHandles::~SqliteReadHandles() {
    for (sqlite3* db : m_handles) {
        // Waits for a cursor still open on the handle to be finalized.
        sqlite3_close_v2(db);
    }
}

sqlite3* SqliteReadHandles::idle() {
    for (sqlite3* db : m_handles) {
        if (!readOpen(db)) {
            return db;
        }
    }
    if (m_openFailed || m_handles.size() >= kMaxHandles) {
        return nullptr;
    }
    sqlite3* db = nullptr;
    const int flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX;
    if (sqlite3_open_v2(m_path.c_str(), &db, flags, nullptr) != SQLITE_OK) {
        sqlite3_close_v2(db);
        m_openFailed = true;
        return nullptr;
    }
    sqlite3_extended_result_codes(db, 1);
    m_busyWait.install(db);
    m_handles.push_back(db);
    return db;
}

}  // namespace vorn::dal

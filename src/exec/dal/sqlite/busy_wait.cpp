#include "exec/dal/sqlite/busy_wait.h"

#include <thread>

namespace vorn::dal {

void BusyWait::install(sqlite3* db) noexcept {
    sqlite3_busy_handler(db, &BusyWait::retry, this);
}

int BusyWait::retry(void* self, int attempt) noexcept {
    auto* wait = static_cast<BusyWait*>(self);
    const auto now = std::chrono::steady_clock::now();
    if (attempt == 0) {
        wait->m_since = now;
    }
    if (now - wait->m_since >= wait->m_timeout) {
        return 0;  // SQLite returns SQLITE_BUSY
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return 1;
}

}  // namespace vorn::dal

#include "exec/dal/sqlite/busy_wait.h"

#include <thread>

#include "exec/dal/call_bound.h"

namespace vorn::dal {

namespace {

// The virtual machine instructions between two looks at the call's bound: a
// few microseconds of work, so an interrupt comes within a millisecond.
constexpr int kInstructionsPerLook = 1000;

}  // namespace

void BusyWait::install(sqlite3* db) noexcept {
    sqlite3_busy_handler(db, &BusyWait::retry, this);
    sqlite3_progress_handler(db, kInstructionsPerLook, &BusyWait::progress, this);
}

int BusyWait::progress(void* /*self*/) noexcept {
    return callExpired() ? 1 : 0;
}

int BusyWait::retry(void* self, int attempt) noexcept {
    auto* wait = static_cast<BusyWait*>(self);
    const auto now = std::chrono::steady_clock::now();
    if (attempt == 0) {
        wait->m_since = now;
    }
    if (now - wait->m_since >= wait->m_timeout || callExpired()) {
        return 0;  // SQLite returns SQLITE_BUSY
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return 1;
}

}  // namespace vorn::dal

#pragma once

#include <sqlite3.h>

#include <chrono>

namespace vorn::dal {

// How a handle waits for a lock another connection holds: it tries again
// every millisecond until the busy timeout has passed since its first try.
//
// SQLite's own busy handler (sqlite3_busy_timeout) sleeps ever longer between
// tries, 100 ms from the 12th on, while writers of other threads and processes
// take the write lock and give it back within a millisecond or two. Under
// steady load a writer waiting that way can miss every chance for the whole
// timeout and fail with SQLITE_BUSY; trying every millisecond gets it its turn.
//
// The wait also ends with the call (call_bound.h): at its deadline, or when
// cancelCalls() ends it. The same object keeps running statements within the
// call's bound: a progress handler interrupts them (SQLITE_INTERRUPT) once
// the call is over.
class BusyWait {
  public:
    explicit BusyWait(int timeoutMs) noexcept : m_timeout(timeoutMs) {}
    BusyWait(const BusyWait&) = delete;
    BusyWait& operator=(const BusyWait&) = delete;

    // Makes db wait, and run, this way; the object must outlive the handle.
    void install(sqlite3* db) noexcept;

  private:
    static int retry(void* self, int attempt) noexcept;
    static int progress(void* self) noexcept;

    std::chrono::milliseconds m_timeout;
    std::chrono::steady_clock::time_point m_since;  // the first try of the current wait
};

}  // namespace vorn::dal

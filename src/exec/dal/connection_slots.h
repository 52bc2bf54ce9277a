#pragma once

#include <time.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "exec/dal/backend.h"
#include "exec/dal/connection_budget.h"
#include "exec/dal/data_source.h"
#include "exec/dal/transaction_guard.h"

// What the connection cache keeps: a slot per thread and session name, each
// thread's slots behind a lock of its own, and the list of every thread's
// slots for closeAllConnections, the idle sweep and the connection budget.
namespace vorn::dal {

// Idle times need no more than millisecond precision, and the coarse
// monotonic clock is a memory read where the precise one may take far longer:
// every call reads it.
struct CoarseClock {
    using duration = std::chrono::nanoseconds;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<CoarseClock>;

    static time_point now() noexcept {
        timespec ts{};
        ::clock_gettime(CLOCK_MONOTONIC_COARSE, &ts);
        return time_point(std::chrono::seconds(ts.tv_sec) + std::chrono::nanoseconds(ts.tv_nsec));
    }
};
using Clock = CoarseClock;

// Raised by closeAll: a connection opened before is closed at its thread's
// next call, if closeAll could not close it at once.
extern std::atomic<std::uint64_t> g_closeEpoch;

struct Slot {
    std::string name;
    std::uint64_t generation = 0;  // registry generation when resolved
    std::shared_ptr<const DataSource> source;
    std::shared_ptr<Connection> connection;
    ConnectionBudget* budget = nullptr;  // the budget the connection holds a place of
    Clock::time_point lastUsed;
    std::uint64_t closeEpoch = 0;  // g_closeEpoch when opened
    bool closeWhenDone = false;    // closeThread met an open transaction
    TransactionGuard guard;        // the caller's transaction, whatever the connection
};

// Closes the slot's connection (at once, or when the session holding it ends).
inline void closeSlot(Slot& slot) noexcept {
    slot.connection.reset();
    slot.source.reset();
    slot.budget = nullptr;
    slot.closeWhenDone = false;
}

// Whether no session holds the slot's connection and no transaction is open
// on it, so that any thread holding the slot's lock may close it (or take it
// over) now.
inline bool closableNow(const Slot& slot) {
    return slot.connection && !slot.connection->heldBySession() &&
           !slot.connection->inTransaction();
}

// Whether closeThread or closeAll asked for the slot's connection to close
// once no transaction keeps it.
inline bool askedToClose(const Slot& slot) {
    return slot.closeWhenDone || slot.closeEpoch != g_closeEpoch.load(std::memory_order_relaxed);
}

// One thread's connections. A thread uses few session names, so a short list
// beats a hash map.
class ThreadConnections {
  public:
    ThreadConnections();
    ~ThreadConnections();
    ThreadConnections(const ThreadConnections&) = delete;
    ThreadConnections& operator=(const ThreadConnections&) = delete;

    std::mutex mutex;  // guards slots

    // After a fork(): the connections belong to the parent.
    void adoptAfterFork();

    Slot& slot(const std::string& name) {
        for (const auto& s : m_slots) {
            if (s->name == name) {
                return *s;
            }
        }
        m_slots.push_back(std::make_unique<Slot>());
        m_slots.back()->name = name;
        return *m_slots.back();
    }

    template <typename Visit>
    void forEachSlot(Visit&& visit) {
        for (const auto& s : m_slots) {
            visit(*s);
        }
    }

  private:
    void enroll();
    void abandonAll();

    std::vector<std::unique_ptr<Slot>> m_slots;
    std::uint64_t m_forkGeneration;
};

extern thread_local ThreadConnections t_connections;

// Every thread's connections, for closeAll, the idle sweep and the budget.
// Lock order: a thread's own connections, then the registry, then another
// thread's connections (only with try_lock, so that no thread waits for one
// that is connecting or waiting for a place).
struct Registry {
    std::mutex mutex;
    std::vector<ThreadConnections*> threads;
};

Registry& registry();

// Closes the connections idle for the idle time, when the last sweep is long
// enough ago (every call asks).
void sweepIfDue(Clock::time_point now);

}  // namespace vorn::dal

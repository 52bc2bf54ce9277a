#include "exec/dal/connection_cache.h"

#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <vector>

#include "exec/dal/call_bound.h"
#include "exec/dal/data_source_registry.h"
#include "exec/dal/inherited.h"
#include "vorn/connections.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

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

constexpr std::chrono::milliseconds kDefaultIdleTimeout = std::chrono::minutes(10);
// The automatic sweep runs at most this often, and at least every idle time.
constexpr std::chrono::milliseconds kLongestSweepInterval = std::chrono::seconds(1);

std::atomic<std::int64_t> g_idleTimeoutMs{kDefaultIdleTimeout.count()};
std::atomic<Clock::rep> g_nextSweep{0};
// Raised by closeAll: a connection opened before is closed at its thread's
// next call, if closeAll could not close it at once.
std::atomic<std::uint64_t> g_closeEpoch{0};

struct Slot {
    std::string name;
    std::uint64_t generation = 0;  // registry generation when resolved
    std::shared_ptr<const DataSource> source;
    std::shared_ptr<Connection> connection;
    Clock::time_point lastUsed;
    std::uint64_t closeEpoch = 0;  // g_closeEpoch when opened
    bool closeWhenDone = false;    // closeThread met an open transaction
};

// Closes the slot's connection (at once, or when the session holding it ends).
void closeSlot(Slot& slot) noexcept {
    slot.connection.reset();
    slot.source.reset();
    slot.closeWhenDone = false;
}

// Whether no session holds the slot's connection and no transaction is open
// on it, so that any thread holding the slot's lock may close it now.
bool closableNow(const Slot& slot) {
    return slot.connection && !slot.connection->heldBySession() &&
           !slot.connection->inTransaction();
}

class ThreadConnections;

// Every thread's connections, for closeAll and the idle sweep. Lock order:
// the registry, then a thread's connections (only with try_lock, so a sweep
// never waits for a thread that is connecting).
struct Registry {
    std::mutex mutex;
    std::vector<ThreadConnections*> threads;
};

Registry& registry() {
    static auto* const instance = new Registry;  // outlives every thread
    return *instance;
}

// One thread's connections. A thread uses few session names, so a short list
// beats a hash map.
class ThreadConnections {
  public:
    ThreadConnections() { enroll(); }
    ~ThreadConnections() {
        if (m_forkGeneration != forkGeneration()) {
            abandonAll();  // the registry of this process never listed them
            return;
        }
        std::lock_guard<std::mutex> lock(registry().mutex);
        auto& threads = registry().threads;
        threads.erase(std::remove(threads.begin(), threads.end(), this), threads.end());
    }
    ThreadConnections(const ThreadConnections&) = delete;
    ThreadConnections& operator=(const ThreadConnections&) = delete;

    std::mutex mutex;  // guards slots

    // After a fork(): the connections belong to the parent.
    void adoptAfterFork() {
        if (m_forkGeneration != forkGeneration()) {
            std::lock_guard<std::mutex> lock(mutex);
            abandonAll();
            m_forkGeneration = forkGeneration();
            enroll();
        }
    }

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
    void enroll() {
        std::lock_guard<std::mutex> lock(registry().mutex);
        registry().threads.push_back(this);
    }

    void abandonAll() {
        for (const auto& s : m_slots) {
            abandonInherited(std::move(s->connection));
        }
        m_slots.clear();
    }

    std::vector<std::unique_ptr<Slot>> m_slots;
    std::uint64_t m_forkGeneration = forkGeneration();
};

thread_local ThreadConnections t_connections;

// fork() copies the registry as it is; its lock is held across fork() so that
// no other thread is halfway through it, and in the child it lists no thread:
// the connections of the parent's threads are not the child's to close.
void lockRegistry() {
    registry().mutex.lock();
}
void unlockRegistry() {
    registry().mutex.unlock();
}
void resetRegistryInChild() {
    registry().threads.clear();
    registry().mutex.unlock();
}
const bool g_forkHandlers =
    pthread_atfork(&lockRegistry, &unlockRegistry, &resetRegistryInChild) == 0;

// Closes, in every thread, the connections that can be closed now and that
// close() picks; each thread busy connecting is left out.
template <typename Pick>
std::size_t closeEverywhere(Pick&& close) {
    (void)g_forkHandlers;
    std::size_t closed = 0;
    std::lock_guard<std::mutex> lock(registry().mutex);
    for (ThreadConnections* thread : registry().threads) {
        std::unique_lock<std::mutex> slots(thread->mutex, std::try_to_lock);
        if (!slots.owns_lock()) {
            continue;
        }
        thread->forEachSlot([&](Slot& slot) {
            if (closableNow(slot) && close(slot)) {
                closeSlot(slot);
                ++closed;
            }
        });
    }
    return closed;
}

void sweepIfDue(Clock::time_point now) {
    const std::chrono::milliseconds timeout = connectionIdleTimeout();
    Clock::rep due = g_nextSweep.load(std::memory_order_relaxed);
    if (timeout.count() <= 0 || now.time_since_epoch().count() < due) {
        return;
    }
    const Clock::duration interval = std::min<Clock::duration>(timeout, kLongestSweepInterval);
    if (g_nextSweep.compare_exchange_strong(due, (now + interval).time_since_epoch().count(),
                                            std::memory_order_relaxed)) {
        closeIdleConnections();
    }
}

// Whether closeThread or closeAll asked for the slot's connection to close
// once no transaction keeps it.
bool askedToClose(const Slot& slot) {
    return slot.closeWhenDone || slot.closeEpoch != g_closeEpoch.load(std::memory_order_relaxed);
}

bool stillCurrent(const Slot& slot, std::uint64_t generation) {
    if (!slot.connection || slot.generation != generation || !slot.connection->usable()) {
        return false;
    }
    if (askedToClose(slot) && !slot.connection->inTransaction()) {
        return false;
    }
    return !slot.source->embeddedDefault ||
           std::strcmp(slot.source->dataDirSetting.c_str(), dataDirSetting()) == 0;
}

// Opens a new connection for slot, unless the one it has is still for the
// same store (only the binding's generation changed).
bool reconnect(Slot& slot, std::shared_ptr<const DataSource> source, platform::ExecResult& status) {
    const bool sameStore = slot.connection && slot.connection->usable() && !askedToClose(slot) &&
                           slot.source->url == source->url;
    if (!sameStore) {
        closeSlot(slot);
        slot.closeEpoch = g_closeEpoch.load(std::memory_order_relaxed);
        std::unique_ptr<Connection> connection = source->backend->connect(source->url, status);
        if (!connection) {
            return false;
        }
        slot.connection = std::move(connection);
    }
    slot.source = std::move(source);
    return true;
}

}  // namespace

ConnectionLease acquireConnection(const std::string& name, platform::ExecResult& status) {
    const Clock::time_point now = Clock::now();
    sweepIfDue(now);
    t_connections.adoptAfterFork();
    std::lock_guard<std::mutex> lock(t_connections.mutex);
    Slot& slot = t_connections.slot(name);
    slot.lastUsed = now;
    const std::uint64_t generation = dataSourceGeneration();
    if (stillCurrent(slot, generation)) {
        limitCall(slot.source->options.callTimeout);
        return ConnectionLease(slot.connection);
    }
    std::shared_ptr<const DataSource> source = resolveDataSource(name);
    if (!source->valid()) {
        closeSlot(slot);
        status = platform::ExecResult::failure(
            platform::errc::kDataSourceInvalid,
            "data source \"" + name + "\" is invalid: " + source->problem);
        return ConnectionLease();
    }
    limitCall(source->options.callTimeout);
    if (!reconnect(slot, std::move(source), status)) {
        return ConnectionLease();
    }
    slot.generation = generation;
    return ConnectionLease(slot.connection);
}

}  // namespace vorn::dal

// The calls of <vorn/connections.h>.
namespace vorn {

using dal::Clock;
using dal::closeEverywhere;
using dal::closeSlot;
using dal::g_closeEpoch;
using dal::g_idleTimeoutMs;
using dal::g_nextSweep;
using dal::Slot;
using dal::t_connections;

std::size_t closeConnections() {
    t_connections.adoptAfterFork();
    std::size_t closed = 0;
    std::lock_guard<std::mutex> lock(t_connections.mutex);
    t_connections.forEachSlot([&](Slot& slot) {
        if (!slot.connection) {
            return;
        }
        if (slot.connection->inTransaction()) {
            slot.closeWhenDone = true;
            return;
        }
        closed += slot.connection->heldBySession() ? 0 : 1;
        closeSlot(slot);
    });
    return closed;
}

std::size_t closeAllConnections() {
    g_closeEpoch.fetch_add(1, std::memory_order_relaxed);
    return closeEverywhere([](const Slot&) { return true; });
}

std::size_t closeIdleConnections() {
    const std::chrono::milliseconds timeout = connectionIdleTimeout();
    if (timeout.count() <= 0) {
        return 0;
    }
    const Clock::time_point now = Clock::now();
    return closeEverywhere([&](const Slot& slot) { return now - slot.lastUsed >= timeout; });
}

void setConnectionIdleTimeout(std::chrono::milliseconds timeout) {
    g_idleTimeoutMs.store(std::max<std::int64_t>(timeout.count(), 0), std::memory_order_relaxed);
    g_nextSweep.store(0, std::memory_order_relaxed);
}

std::chrono::milliseconds connectionIdleTimeout() {
    return std::chrono::milliseconds(g_idleTimeoutMs.load(std::memory_order_relaxed));
}

}  // namespace vorn

// The slots of the connection cache (connection_slots.h) and the calls of
// <vorn/connections.h> that close them.
#include "vorn/connections.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <mutex>

#include "exec/dal/connection_cache.h"
#include "exec/dal/connection_slots.h"
#include "exec/dal/inherited.h"

namespace vorn::dal {
namespace {

constexpr std::chrono::milliseconds kDefaultIdleTimeout = std::chrono::minutes(10);
// The automatic sweep runs at most this often, and at least every idle time.
constexpr std::chrono::milliseconds kLongestSweepInterval = std::chrono::seconds(1);

std::atomic<std::int64_t> g_idleTimeoutMs{kDefaultIdleTimeout.count()};
std::atomic<Clock::rep> g_nextSweep{0};

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

// At the process's exit (exit(), or main returning) the exiting thread's
// connections have closed with its thread-local cache just before; this closes
// the idle ones of the threads still running, of the stores that ask for it
// (Backend::closedAtExit). What a close touches outlives the handler: the
// registry and the budgets are never destroyed, and the backends are made
// before the handler is registered (static objects and exit handlers go in
// the reverse order of their making).
void closeAtExit() {
    closeEverywhere([](const Slot& slot) {
        return slot.source != nullptr && slot.source->backend != nullptr &&
               slot.source->backend->closedAtExit;
    });
}

}  // namespace

std::atomic<std::uint64_t> g_closeEpoch{0};

Registry& registry() {
    static auto* const instance = [] {
        static_cast<void>(compiledBackends());
        // Nothing to do without it: the connections end with the process.
        static_cast<void>(std::atexit(&closeAtExit));
        return new Registry;  // outlives every thread
    }();
    return *instance;
}

ThreadConnections::ThreadConnections() : m_forkGeneration(forkGeneration()) {
    enroll();
}

ThreadConnections::~ThreadConnections() {
    if (m_forkGeneration != forkGeneration()) {
        abandonAll();  // the registry of this process never listed them
        return;
    }
    std::lock_guard<std::mutex> lock(registry().mutex);
    auto& threads = registry().threads;
    threads.erase(std::remove(threads.begin(), threads.end(), this), threads.end());
}

void ThreadConnections::adoptAfterFork() {
    if (m_forkGeneration != forkGeneration()) {
        std::lock_guard<std::mutex> lock(mutex);
        abandonAll();
        m_forkGeneration = forkGeneration();
        enroll();
    }
}

void ThreadConnections::enroll() {
    std::lock_guard<std::mutex> lock(registry().mutex);
    registry().threads.push_back(this);
}

void ThreadConnections::abandonAll() {
    for (const auto& s : m_slots) {
        abandonInherited(std::move(s->connection));
    }
    m_slots.clear();
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

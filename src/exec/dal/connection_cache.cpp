#include "exec/dal/connection_cache.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <optional>

#include "exec/dal/call_bound.h"
#include "exec/dal/connection_budget.h"
#include "exec/dal/connection_slots.h"
#include "exec/dal/data_source_registry.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {

thread_local ThreadConnections t_connections;

namespace {

// A connection idle this long is asked whether the store still has it before
// it is used: the question costs a system call, which a call right after the
// last one need not pay.
constexpr std::chrono::seconds kIdleCheckAfter{1};
// How long a call without a deadline waits for a connection of a budget:
// the connect timeout a call may spend on connecting by default.
constexpr std::chrono::seconds kLongestBudgetWait{10};
// A thread waiting for a connection looks again at least this often, for
// idle connections to take over and for a cancel.
constexpr std::chrono::milliseconds kBudgetWaitSlice{100};

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

// Asks whether the store still has the slot's connection, which has been
// idle. Not while a session holds it (a read may have rows coming), nor inside
// a transaction unless the call ends it: a statement there meets the loss
// itself, and its failure tells the caller the transaction is gone. Whether
// it asked.
bool lookAtIdle(const Slot& slot, bool endsTransaction) {
    Connection& connection = *slot.connection;
    if (!connection.heldBySession() && (endsTransaction || !connection.inTransaction())) {
        connection.stillOpen();
        return true;
    }
    return false;
}

// Whether the slot's connection may go to another slot: idle, of url, and
// fit for use. Tidies what it meets on the way: a connection asked to close
// is closed, and a lost one gives its place in the budget back.
bool lendable(Slot& slot, const std::string& url) {
    if (!closableNow(slot) || slot.source->url != url) {
        return false;
    }
    if (!slot.connection->usable()) {
        givePlaceBack(slot.connection);
        return false;
    }
    if (askedToClose(slot)) {
        closeSlot(slot);
        return false;
    }
    return true;
}

void moveConnection(Slot& from, Slot& to) {
    to.connection = std::move(from.connection);
    to.budget = from.budget;
    to.closeEpoch = from.closeEpoch;
    to.closeWhenDone = false;
    closeSlot(from);
}

// Moves an idle connection of url into mine from another slot: one of this
// thread's, else another thread's of the same session name, else of any
// session name. Another thread's slots are only tried (try_lock), so that no
// two waiting threads wait for each other.
bool takeOverIdle(Slot& mine, const std::string& url) {
    Slot* found = nullptr;
    t_connections.forEachSlot([&](Slot& slot) {
        if (found == nullptr && &slot != &mine && lendable(slot, url)) {
            found = &slot;
        }
    });
    if (found != nullptr) {
        moveConnection(*found, mine);
        return true;
    }
    std::lock_guard<std::mutex> lock(registry().mutex);
    for (const bool sameName : {true, false}) {
        for (ThreadConnections* thread : registry().threads) {
            std::unique_lock<std::mutex> slots(thread->mutex, std::defer_lock);
            if (thread == &t_connections || !slots.try_lock()) {
                continue;
            }
            thread->forEachSlot([&](Slot& slot) {
                if (found == nullptr && (!sameName || slot.name == mine.name) &&
                    lendable(slot, url)) {
                    found = &slot;
                }
            });
            if (found != nullptr) {
                moveConnection(*found, mine);
                return true;
            }
        }
    }
    return false;
}

bool connectWithPlace(Slot& slot, const DataSource& source, ConnectionBudget& budget,
                      platform::ExecResult& status) {
    std::unique_ptr<Connection> connection = source.backend->connect(source.url, status);
    if (!connection) {
        budget.giveBack();
        return false;
    }
    slot.connection = holdingPlace(std::move(connection), budget);
    slot.budget = &budget;
    return true;
}

platform::ExecResult budgetExhausted(const std::string& name, int limit, bool bounded) {
    const std::string why = callCancelled() ? "calls were cancelled"
                            : bounded       ? "the call's deadline passed"
                                            : std::to_string(kLongestBudgetWait.count()) +
                                            " s passed (the call has no deadline)";
    return platform::ExecResult::failure(
        platform::errc::kTooManyConnections,
        "no connection for session \"" + name + "\": all " + std::to_string(limit) +
            " connections of its data source (vorn_max_connections) stayed in use until " + why);
}

// A connection for slot within the budget of source: a place of its own,
// else an idle connection taken over, else the wait for either, up to the
// call's deadline.
bool connectInBudget(Slot& slot, const DataSource& source, platform::ExecResult& status) {
    ConnectionBudget& budget = ConnectionBudget::of(source.url, source.options.maxConnections);
    std::optional<ConnectionBudget::Waiting> waiting;
    const bool bounded = callDeadline() != CallClock::time_point::max();
    const CallClock::time_point end =
        bounded ? callDeadline() : CallClock::now() + kLongestBudgetWait;
    for (;;) {
        std::uint64_t seen = 0;
        if (budget.tryTake(seen)) {
            return connectWithPlace(slot, source, budget, status);
        }
        if (takeOverIdle(slot, source.url)) {
            if (slot.connection->stillOpen()) {
                return true;
            }
            closeSlot(slot);  // gone while idle: its place is free now
            continue;
        }
        if (!waiting) {
            waiting.emplace(budget);  // from now on a connection gone idle says so
            continue;
        }
        const CallClock::time_point now = CallClock::now();
        if (now >= end || callCancelled()) {
            status = budgetExhausted(slot.name, budget.limit(), bounded);
            return false;
        }
        budget.waitForChange(seen, std::min<CallClock::time_point>(end, now + kBudgetWaitSlice));
    }
}

bool connectPlain(Slot& slot, const DataSource& source, platform::ExecResult& status) {
    std::unique_ptr<Connection> connection = source.backend->connect(source.url, status);
    if (!connection) {
        return false;
    }
    slot.connection = std::move(connection);
    slot.budget = nullptr;
    return true;
}

// Opens a new connection for slot, unless the one it has is still for the
// same store (only the binding's generation changed). A lost connection of
// the same store stays in the slot, its place in the budget given back, until
// a new one replaces it; a call that ends a transaction takes it as it is.
bool reconnect(Slot& slot, std::shared_ptr<const DataSource> source, bool endsTransaction,
               platform::ExecResult& status) {
    const bool sameStore = slot.connection && slot.source->url == source->url;
    const bool lost = sameStore && !slot.connection->usable();
    if ((sameStore && !lost && !askedToClose(slot)) || (lost && endsTransaction)) {
        slot.source = std::move(source);
        return true;
    }
    if (slot.connection) {
        slot.guard.connectionGone(slot.name);
    }
    if (lost) {
        givePlaceBack(slot.connection);
        slot.budget = nullptr;
    } else {
        closeSlot(slot);
    }
    slot.closeEpoch = g_closeEpoch.load(std::memory_order_relaxed);
    const bool opened = source->options.maxConnections > 0 ? connectInBudget(slot, *source, status)
                                                           : connectPlain(slot, *source, status);
    if (opened) {
        slot.source = std::move(source);
    }
    return opened;
}

}  // namespace

ConnectionLease acquireConnection(const std::string& name, platform::ExecResult& status,
                                  CallUse use) {
    const Clock::time_point now = Clock::now();
    sweepIfDue(now);
    t_connections.adoptAfterFork();
    std::lock_guard<std::mutex> lock(t_connections.mutex);
    Slot& slot = t_connections.slot(name);
    if (slot.guard.lost()) {
        return ConnectionLease(nullptr, nullptr, {}, &slot.guard);  // refused without a connection
    }
    const Clock::duration idle = now - slot.lastUsed;
    slot.lastUsed = now;
    const bool endsTransaction = use == CallUse::Commit || use == CallUse::Rollback;
    if (slot.connection) {
        // A connection found gone or replaced is unusable from now on. A
        // store kept in a file answers stillOpen() by looking at the file; a
        // connection a reader holds is not asked that, but a write still
        // asks about the file.
        const bool looked = idle >= kIdleCheckAfter && lookAtIdle(slot, endsTransaction);
        if (!looked && asksAboutTheFile(use, *slot.connection)) {
            slot.connection->fileReplaced();
        }
    }
    const std::uint64_t generation = dataSourceGeneration();
    if (stillCurrent(slot, generation)) {
        limitCall(slot.source->options.callTimeout);
        return ConnectionLease(slot.connection, slot.budget, slot.source->options.callTimeout,
                               &slot.guard);
    }
    std::shared_ptr<const DataSource> source = resolveDataSource(name);
    if (!source->valid()) {
        if (slot.connection) {
            slot.guard.connectionGone(name);
        }
        closeSlot(slot);
        status = platform::ExecResult::failure(
            platform::errc::kDataSourceInvalid,
            "data source \"" + name + "\" is invalid: " + source->problem);
        return ConnectionLease();
    }
    limitCall(source->options.callTimeout);
    if (!reconnect(slot, std::move(source), endsTransaction, status)) {
        return ConnectionLease();
    }
    slot.generation = generation;
    return ConnectionLease(slot.connection, slot.budget, slot.source->options.callTimeout,
                           &slot.guard);
}

}  // namespace vorn::dal

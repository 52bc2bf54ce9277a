#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "exec/dal/backend.h"
#include "exec/dal/call_bound.h"

// The connection budget of a data source ("vorn_max_connections=<n>"): at
// most n connections open to one URL at a time, counted over every thread and
// every session name bound to it. The connection cache takes a place before
// it connects; the place is given back when the connection closes, or as soon
// as the connection is known lost (its server connection is gone).
namespace vorn::dal {

class ConnectionBudget {
  public:
    // The budget of url, made at its first use and kept for the process
    // (after fork() the child starts on budgets of its own: the connections it
    // inherited are the parent's). Every session name bound to url shares it.
    static ConnectionBudget& of(const std::string& url, int limit);

    explicit ConnectionBudget(int limit) noexcept : m_limit(limit) {}
    ConnectionBudget(const ConnectionBudget&) = delete;
    ConnectionBudget& operator=(const ConnectionBudget&) = delete;

    int limit() const noexcept { return m_limit; }

    // Takes a place when one is free. seen receives the count of changes
    // (places given back, connections gone idle) to wait on after a miss.
    bool tryTake(std::uint64_t& seen);
    void giveBack() noexcept;

    // A connection of this budget went idle (its session ended): a thread
    // waiting for a place may take it over. Cheap unless a thread waits.
    void noteIdle() noexcept {
        if (m_waiters.load(std::memory_order_relaxed) != 0) {
            changed();
        }
    }

    // Waits until something changed since seen, or until until (the caller
    // waits in slices, so that a cancel is seen).
    void waitForChange(std::uint64_t seen, CallClock::time_point until);

    // Counts a thread as waiting for the life of the object.
    class Waiting {
      public:
        explicit Waiting(ConnectionBudget& budget) noexcept : m_budget(budget) {
            m_budget.m_waiters.fetch_add(1, std::memory_order_relaxed);
        }
        ~Waiting() { m_budget.m_waiters.fetch_sub(1, std::memory_order_relaxed); }
        Waiting(const Waiting&) = delete;
        Waiting& operator=(const Waiting&) = delete;

      private:
        ConnectionBudget& m_budget;
    };

  private:
    void changed() noexcept;

    const int m_limit;
    std::mutex m_mutex;
    std::condition_variable m_change;
    int m_open = 0;               // places taken
    std::uint64_t m_changes = 0;  // places given back and connections gone idle
    std::atomic<int> m_waiters{0};
};

// connection, holding a place of budget (taken with tryTake), which it gives
// back when it closes.
std::shared_ptr<Connection> holdingPlace(std::unique_ptr<Connection> connection,
                                         ConnectionBudget& budget);

// Gives connection's place back now (its server connection is gone, though
// the object lives on); nothing for a connection without one.
void givePlaceBack(const std::shared_ptr<Connection>& connection) noexcept;

}  // namespace vorn::dal

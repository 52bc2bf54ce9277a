#include "exec/dal/connection_budget.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>
#include <vector>

namespace vorn::dal {
namespace {

// How long closing a connection waits for its server to end it.
constexpr std::chrono::seconds kLongestCloseWait{1};

// Every budget made, by URL. A process uses few URLs, so a list does; the
// budgets are never freed, so a reference to one stays good.
struct Budgets {
    std::mutex mutex;
    std::vector<std::pair<std::string, std::unique_ptr<ConnectionBudget>>> list;
    // In a child of fork(): the list it left behind, never freed but kept in
    // reach, so that a leak checker at the child's exit does not count it.
    Budgets* inherited = nullptr;
};

Budgets* g_budgets = new Budgets;  // replaced in a child of fork()

// fork() copies the list as it is, its lock held so that no other thread is
// halfway through it. The child leaves the copy (and the places that its
// inherited connections hold there) behind and starts anew.
void lockBudgets() {
    g_budgets->mutex.lock();
}
void unlockBudgets() {
    g_budgets->mutex.unlock();
}
void freshBudgetsInChild() {
    auto* fresh = new Budgets;
    fresh->inherited = g_budgets;
    g_budgets = fresh;
}
const bool g_forkHandlers = pthread_atfork(&lockBudgets, &unlockBudgets, &freshBudgetsInChild) == 0;

// A copy of socket, kept open while the connection closes its own; -1 for
// none.
int watch(int socket) noexcept {
    return socket < 0 ? -1 : ::fcntl(socket, F_DUPFD_CLOEXEC, 0);
}

// Waits (at most kLongestCloseWait) until the server has closed its side of
// watched, which it does once its end of the connection is gone, then closes
// the copy. A server ends a connection when the client says goodbye, which
// closing the connection did.
void awaitServerClose(int watched) noexcept {
    if (watched < 0) {
        return;
    }
    const auto end = std::chrono::steady_clock::now() + kLongestCloseWait;
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd entry{};
        entry.fd = watched;
        entry.events = POLLIN;
        if (left.count() <= 0 || ::poll(&entry, 1, static_cast<int>(left.count())) == 0) {
            break;
        }
        char discard[256];
        const ssize_t got = ::read(watched, discard, sizeof discard);
        if (got == 0 || (got < 0 && errno != EINTR && errno != EAGAIN)) {
            break;  // closed by the server (or failed: nothing more to learn)
        }
    }
    ::close(watched);
}

// Deletes a connection and gives its place back, unless givePlaceBack did.
class PlaceHolder {
  public:
    explicit PlaceHolder(ConnectionBudget& budget) noexcept : m_budget(&budget) {}
    PlaceHolder(PlaceHolder&& other) noexcept : m_budget(other.m_budget.exchange(nullptr)) {}
    PlaceHolder& operator=(PlaceHolder&&) = delete;
    PlaceHolder(const PlaceHolder&) = delete;
    PlaceHolder& operator=(const PlaceHolder&) = delete;
    ~PlaceHolder() = default;

    void operator()(Connection* connection) noexcept {
        const int watched = m_budget.load() != nullptr ? watch(connection->serverSocket()) : -1;
        delete connection;
        awaitServerClose(watched);
        giveBack();
    }
    void giveBack() noexcept {
        if (ConnectionBudget* budget = m_budget.exchange(nullptr)) {
            budget->giveBack();
        }
    }

  private:
    std::atomic<ConnectionBudget*> m_budget;
};

}  // namespace

ConnectionBudget& ConnectionBudget::of(const std::string& url, int limit) {
    (void)g_forkHandlers;
    Budgets& budgets = *g_budgets;
    std::lock_guard<std::mutex> lock(budgets.mutex);
    for (const auto& [known, budget] : budgets.list) {
        if (known == url) {
            return *budget;
        }
    }
    budgets.list.emplace_back(url, std::make_unique<ConnectionBudget>(limit));
    return *budgets.list.back().second;
}

bool ConnectionBudget::tryTake(std::uint64_t& seen) {
    std::lock_guard<std::mutex> lock(m_mutex);
    seen = m_changes;
    if (m_open >= m_limit) {
        return false;
    }
    ++m_open;
    return true;
}

void ConnectionBudget::giveBack() noexcept {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        --m_open;
        ++m_changes;
    }
    m_change.notify_one();
}

void ConnectionBudget::changed() noexcept {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_changes;
    }
    m_change.notify_one();
}

void ConnectionBudget::waitForChange(std::uint64_t seen, CallClock::time_point until) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_change.wait_until(lock, until, [&] { return m_changes != seen; });
}

std::shared_ptr<Connection> holdingPlace(std::unique_ptr<Connection> connection,
                                         ConnectionBudget& budget) {
    return std::shared_ptr<Connection>(connection.release(), PlaceHolder(budget));
}

void givePlaceBack(const std::shared_ptr<Connection>& connection) noexcept {
    if (auto* holder = std::get_deleter<PlaceHolder>(connection)) {
        holder->giveBack();
    }
}

}  // namespace vorn::dal

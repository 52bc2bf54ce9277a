#include "exec/diagnostics/observer.h"

#include <atomic>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>

namespace vorn::diag {
namespace {

std::atomic<bool> g_observing{false};
std::mutex g_observerMutex;
std::shared_ptr<const StatementObserver> g_observer;  // guarded by g_observerMutex

// $VORN_SLOW_STATEMENT_MS, or 0 when unset or not a number.
std::int64_t slowThresholdFromEnvironment() {
    const char* value = std::getenv("VORN_SLOW_STATEMENT_MS");
    std::int64_t ms = 0;
    if (value != nullptr) {
        const char* end = value + std::strlen(value);
        const auto [last, ec] = std::from_chars(value, end, ms);
        if (ec != std::errc() || last != end || ms < 0) {
            ms = 0;
        }
    }
    return ms;
}

std::atomic<std::int64_t>& slowThresholdMs() {
    static std::atomic<std::int64_t> ms{slowThresholdFromEnvironment()};
    return ms;
}

}  // namespace

bool observing() noexcept {
    return g_observing.load(std::memory_order_relaxed);
}

void notifyObserver(const StatementEvent& event) noexcept {
    std::shared_ptr<const StatementObserver> observer;
    {
        std::lock_guard<std::mutex> lock(g_observerMutex);
        observer = g_observer;
    }
    if (!observer) {
        return;
    }
    try {
        (*observer)(event);
    } catch (...) {  // NOLINT(bugprone-empty-catch): the host's failure is not the call's
    }
}

bool isSlow(std::chrono::nanoseconds duration) noexcept {
    const std::int64_t ms = slowThresholdMs().load(std::memory_order_relaxed);
    return ms > 0 && duration >= std::chrono::milliseconds(ms);
}

}  // namespace vorn::diag

// The observer and slow-statement calls of <vorn/diagnostics.h>.
namespace vorn {

void setStatementObserver(StatementObserver observer) {
    std::shared_ptr<const StatementObserver> next;
    if (observer) {
        next = std::make_shared<const StatementObserver>(std::move(observer));
    }
    std::lock_guard<std::mutex> lock(diag::g_observerMutex);
    diag::g_observing.store(next != nullptr, std::memory_order_relaxed);
    diag::g_observer = std::move(next);
}

void setSlowStatementThreshold(std::chrono::milliseconds threshold) {
    diag::slowThresholdMs().store(std::max<std::int64_t>(threshold.count(), 0),
                                  std::memory_order_relaxed);
}

std::chrono::milliseconds slowStatementThreshold() {
    return std::chrono::milliseconds(diag::slowThresholdMs().load(std::memory_order_relaxed));
}

}  // namespace vorn

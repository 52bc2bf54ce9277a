#include "exec/dal/call_bound.h"

#include <poll.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <utility>
#include <vector>

#include "vorn/deadline.h"

namespace vorn::dal {
namespace {

constexpr CallClock::time_point kNever = CallClock::time_point::max();
// A wait looks at the cancellations at least this often.
constexpr std::chrono::milliseconds kWaitSlice{100};

// cancelCalls(): every call started before the epoch moved is over.
std::atomic<std::uint64_t> g_cancelEpoch{0};
// cancelCalls(name): the epoch moves, and the name keeps the epoch of its
// latest cancellation.
std::atomic<std::uint64_t> g_sessionEpoch{0};
std::mutex g_sessionMutex;
std::vector<std::pair<std::string, std::uint64_t>>& sessionCancels() {
    static auto* const cancels = new std::vector<std::pair<std::string, std::uint64_t>>;
    return *cancels;
}

// The deadline of the thread's innermost CallDeadline.
thread_local CallClock::time_point t_threadDeadline = kNever;

struct CallState {
    const std::string* session = nullptr;
    CallClock::time_point deadline = kNever;
    std::uint64_t cancelEpoch = 0;
    std::uint64_t sessionEpoch = 0;
    CallClock::time_point overtime = kNever;  // kNever: not in overtime
    int depth = 0;
};
thread_local CallState t_call;

bool sessionCancelled(const CallState& call) {
    if (g_sessionEpoch.load(std::memory_order_acquire) == call.sessionEpoch ||
        call.session == nullptr) {
        return false;
    }
    std::lock_guard<std::mutex> lock(g_sessionMutex);
    for (const auto& [name, epoch] : sessionCancels()) {
        if (epoch > call.sessionEpoch && name == *call.session) {
            return true;
        }
    }
    return false;
}

}  // namespace

CallBound::CallBound(const std::string& session) noexcept {
    if (t_call.depth++ > 0) {
        t_call.deadline = std::min(t_call.deadline, t_threadDeadline);
        return;
    }
    t_call.session = &session;
    t_call.deadline = t_threadDeadline;
    t_call.cancelEpoch = g_cancelEpoch.load(std::memory_order_acquire);
    t_call.sessionEpoch = g_sessionEpoch.load(std::memory_order_acquire);
}

CallBound::~CallBound() {
    if (--t_call.depth == 0) {
        t_call = CallState();
    }
}

CallClock::time_point threadDeadline() noexcept {
    return t_threadDeadline;
}

void beginOvertime(CallClock::time_point until) noexcept {
    if (t_call.overtime == kNever) {
        t_call.overtime = until;
    }
}

bool inOvertime() noexcept {
    return t_call.overtime != kNever;
}

void limitCall(std::chrono::milliseconds timeout) noexcept {
    if (timeout.count() > 0 && t_call.depth > 0) {
        t_call.deadline = std::min(t_call.deadline, CallClock::now() + timeout);
    }
}

CallClock::time_point callDeadline() noexcept {
    return t_call.depth > 0 ? t_call.deadline : t_threadDeadline;
}

bool callCancelled() noexcept {
    if (t_call.depth == 0) {
        return false;
    }
    return g_cancelEpoch.load(std::memory_order_acquire) != t_call.cancelEpoch ||
           sessionCancelled(t_call);
}

bool callExpired() noexcept {
    const CallClock::time_point deadline = callDeadline();
    return (deadline != kNever && CallClock::now() >= deadline) || callCancelled();
}

const char* callEndReason() noexcept {
    return callCancelled() ? "calls were cancelled" : "the call's deadline passed";
}

WaitEnd waitForSocket(int fd, short events, CallClock::time_point limit) noexcept {
    pollfd entry{};
    entry.fd = fd;
    entry.events = events;
    if (fd < 0) {
        return WaitEnd::Failed;
    }
    for (;;) {
        const bool overtime = inOvertime();
        const CallClock::time_point end =
            std::min(limit, overtime ? t_call.overtime : callDeadline());
        const CallClock::time_point now = CallClock::now();
        if (now >= end || (!overtime && callCancelled())) {
            return WaitEnd::Expired;
        }
        const auto slice = std::min<CallClock::duration>(end - now, kWaitSlice);
        const int ms =
            static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(slice).count());
        const int ready = ::poll(&entry, 1, ms);
        if (ready > 0) {
            return WaitEnd::Ready;
        }
        if (ready < 0 && errno != EINTR) {
            return WaitEnd::Failed;
        }
    }
}

}  // namespace vorn::dal

namespace vorn {

CallDeadline::CallDeadline(std::chrono::milliseconds timeout) noexcept
    : m_previous(dal::t_threadDeadline),
      m_deadline(std::min(m_previous, dal::CallClock::now() + timeout)) {
    dal::t_threadDeadline = m_deadline;
}

CallDeadline::~CallDeadline() {
    dal::t_threadDeadline = m_previous;
}

std::chrono::milliseconds CallDeadline::remaining() const noexcept {
    const auto left = m_deadline - dal::CallClock::now();
    return left.count() > 0 ? std::chrono::ceil<std::chrono::milliseconds>(left)
                            : std::chrono::milliseconds(0);
}

void cancelCalls() {
    dal::g_cancelEpoch.fetch_add(1, std::memory_order_acq_rel);
}

void cancelCalls(const std::string& sessionName) {
    std::lock_guard<std::mutex> lock(dal::g_sessionMutex);
    const std::uint64_t epoch = dal::g_sessionEpoch.load(std::memory_order_relaxed) + 1;
    auto& cancels = dal::sessionCancels();
    auto found = std::find_if(cancels.begin(), cancels.end(),
                              [&](const auto& entry) { return entry.first == sessionName; });
    if (found != cancels.end()) {
        found->second = epoch;
    } else {
        cancels.emplace_back(sessionName, epoch);
    }
    dal::g_sessionEpoch.store(epoch, std::memory_order_release);
}

}  // namespace vorn

#pragma once

#include <chrono>
#include <cstdint>
#include <string>

// The bound of the call a thread is making: its deadline (the nearer of the
// thread's CallDeadline and the data source's vorn_call_timeout) and whether
// cancelCalls() has ended it. Backends ask the functions below from wherever
// they wait; the session makes a CallBound for each call.
namespace vorn::dal {

using CallClock = std::chrono::steady_clock;

// The longest the library's own steps take when the call has no nearer
// deadline: a caller's rollback, and undoing a unit that failed.
inline constexpr std::chrono::milliseconds kOwnStepBound{10000};

// The bound of one call of the executor or the reader, current on its thread
// while it lives. Calls do not nest: a bound made inside another call's (the
// library's own steps) keeps the outer one's start and tightens its deadline.
class CallBound {
  public:
    explicit CallBound(const std::string& session) noexcept;
    ~CallBound();
    CallBound(const CallBound&) = delete;
    CallBound& operator=(const CallBound&) = delete;
};

// Tightens the current call's deadline to timeout from now (timeout <= 0:
// no change); the data source's vorn_call_timeout, once the session name is
// resolved.
void limitCall(std::chrono::milliseconds timeout) noexcept;

// The current call's deadline; CallClock::time_point::max() when it has none
// (or no call is current).
CallClock::time_point callDeadline() noexcept;
// The deadline of the calling thread's innermost vorn::CallDeadline, in or
// out of a call; CallClock::time_point::max() when none is in force.
CallClock::time_point threadDeadline() noexcept;
// Whether cancelCalls() ended the current call (for the process or for its
// session name) after it started.
bool callCancelled() noexcept;
// Whether the current call is over its deadline or cancelled.
bool callExpired() noexcept;
// Why the call is over, for the error text: "the call's deadline passed" or
// "calls were cancelled"; only meaningful when callExpired().
const char* callEndReason() noexcept;

// Once the call is over, the little time it may still take to leave the
// store in a known state (a cancelled statement's answer, a rollback):
// until then the waits below end at until instead of the deadline, and
// cancellations no longer end them. A second call keeps the first until.
void beginOvertime(CallClock::time_point until) noexcept;
// Whether the call is in its overtime.
bool inOvertime() noexcept;

// How a bounded wait ended.
enum class WaitEnd { Ready, Expired, Failed };
// Waits until fd is ready for events (poll(2) bits) or the current call is
// over (in its overtime: the overtime is over); also bounded by limit, when
// one is given (CallClock::time_point::max() for none). Waits in slices of at
// most 100 ms so that cancelCalls() is seen promptly.
WaitEnd waitForSocket(int fd, short events,
                      CallClock::time_point limit = CallClock::time_point::max()) noexcept;

}  // namespace vorn::dal

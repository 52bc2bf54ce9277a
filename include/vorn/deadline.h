#pragma once

#include <chrono>
#include <string>

#include "vorn/export.h"

/// @file
/// @brief How long a call may take, and how to end the calls in flight.
///
/// Every call that reaches a store (a statement, each fetch of a reader, a
/// batch, begin, commit, rollback, and the connecting any of them needs) ends
/// by its deadline. A deadline comes from two places, and the nearer applies:
///   - the data source, as the URL parameter "vorn_call_timeout=<ms>"
///     (every call on a session name bound to it);
///   - the calling thread, for a scope: CallDeadline.
///
/// With neither set a statement may run as long as it needs: no default could
/// tell a report that legitimately runs for an hour from a stuck server. What
/// the library does on its own behalf is bounded even then: connecting (the
/// URL's connect_timeout, 10 s by default), cancelling (5 s) and rolling back
/// after a failure.
///
/// A call that reaches its deadline (or that cancelCalls() ends) returns the
/// code of SQLSTATE 57014 with category ErrorCategory::Timeout. A COMMIT, an
/// autocommit write or a batch whose outcome cannot be known, because the
/// deadline passed after it was sent and before the store answered, returns
/// a code of category ErrorCategory::InDoubt (SQLSTATE 08007): the unit may
/// or may not have taken effect, and only reading the store can tell.
///
/// A call still waiting for a connection of its data source's connection
/// budget then returns errc::kTooManyConnections (ErrorCategory::Busy) instead:
/// nothing ran (see `<vorn/connections.h>`).
///
/// On PostgreSQL the statement is cancelled on the server at the deadline; if
/// the server does not answer the cancel within a second, the connection is
/// given up (never reused in an unknown state) and the next call opens a new
/// one. On SQLite a running statement is interrupted, and a wait for another
/// connection's lock ends, at the deadline.

namespace vorn {

/// A deadline for every call of the calling thread while the object lives,
/// counted from its construction. Scopes nest: an inner one never extends
/// an outer one's deadline. A timeout of zero or less makes every call of
/// the scope fail at once with ErrorCategory::Timeout.
///
/// @code
/// vorn::CallDeadline deadline(std::chrono::milliseconds(500));
/// CVORNDatabase db("orders");
/// if (db.execWriteSQL(update) != 0) { ... }  // at most about 500 ms
/// @endcode
class VORN_API CallDeadline {
  public:
    /// Sets the deadline timeout from now (never later than an outer scope's).
    explicit CallDeadline(std::chrono::milliseconds timeout) noexcept;
    /// Restores the deadline of the enclosing scope, if any.
    ~CallDeadline();
    CallDeadline(const CallDeadline&) = delete;
    CallDeadline& operator=(const CallDeadline&) = delete;

    /// The time left before the deadline (zero once it has passed).
    std::chrono::milliseconds remaining() const noexcept;

  private:
    std::chrono::steady_clock::time_point m_previous;  // the deadline this one hides
    std::chrono::steady_clock::time_point m_deadline;
};

/// Makes every call in flight in the process return promptly (within about
/// 100 ms) with ErrorCategory::Timeout, e.g. at a server's shutdown or from a
/// watchdog. Calls that start afterwards are not affected.
VORN_API void cancelCalls();
/// The same for the calls in flight on one session name.
VORN_API void cancelCalls(const std::string& sessionName);

}  // namespace vorn

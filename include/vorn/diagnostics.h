#pragma once

/// @file
/// @brief The last error, error categories, statement events, statistics and
/// slow-statement logging.
///
/// What the library tells about its calls besides their return codes: the last
/// error of a thread, one portable category per fault, an event per statement,
/// statistics per session name and kind, and a log line for slow statements.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "vorn/export.h"

namespace vorn {

/// The kind of fault, the same on every store (docs/error-categories.md gives
/// the codes of each store in each, as each store's backend sorts them).
enum class ErrorCategory : std::uint8_t {
    None,            ///< success
    Refused,         ///< the library's own refusal: empty statement, reader not
                     ///< bound, batch columns of unequal length, a second
                     ///< statement in one text, an invalid data source, ...
    Syntax,          ///< the statement is malformed or names what does not
                     ///< exist (syntax error, unknown table or column)
    Constraint,      ///< unique, primary key, foreign key, not null, check
    Busy,            ///< busy or locked store, serialization failure, deadlock
    ConnectionLost,  ///< no connection to the store, or it was lost
    Permission,      ///< no privilege, or a read-only store or transaction
    InvalidValue,    ///< a value the store cannot take (bad text, out of range)
    Timeout,         ///< the statement was cancelled by a time-out
    Other,           ///< anything else (disk full, I/O error, ...)
    InDoubt,         ///< the call's deadline passed after a commit was sent and
                     ///< before the store answered: the unit may or may not
                     ///< have taken effect (see <vorn/deadline.h>)
};

/// How many categories there are (one more than the last one's value).
inline constexpr std::size_t kErrorCategoryCount =
    static_cast<std::size_t>(ErrorCategory::InDoubt) + 1;

/// "None", "Refused", "Syntax", ...
VORN_API const char* toString(ErrorCategory category) noexcept;

/// The failure of a call; all empty after a success.
struct ErrorInfo {
    unsigned long code = 0;                        ///< what the call returned
    ErrorCategory category = ErrorCategory::None;  ///< the kind of fault
    std::string sqlstate;         ///< PostgreSQL's own, or the nearest standard one
    std::uint64_t storeCode = 0;  ///< SQLite's extended result code (0 elsewhere)
    std::string message;          ///< the store's or the library's text, scrubbed
    std::string session;          ///< the session name the call ran on
};

/// The calling thread's last call through a database object (execWriteSQL,
/// execReadSQL, ExecBatchInserter, begin/commit/rollback, and the fetches of a
/// reader), as it failed; a successful call clears it.
VORN_API ErrorInfo lastError();

/// What ran: the calls of a database object, and a read as a whole.
enum class StatementKind : std::uint8_t {
    Read,      ///< execReadSQL, with the fetches of its rows
    Write,     ///< execWriteSQL
    Batch,     ///< ExecBatchInserter
    Begin,     ///< beginTransaction
    Commit,    ///< commitTransaction
    Rollback,  ///< rollbackTransaction
    Retry      ///< vorn::runTransaction running a unit again, with the failure
               ///< that made it (text "RETRY"; it is not a call, and leaves
               ///< lastError() alone)
};

/// "read", "write", "batch", "begin", "commit", "rollback", "retry"
VORN_API const char* toString(StatementKind kind) noexcept;

/// One statement the library ran. A read is reported once it ends (its last row
/// fetched, a fetch failed, or the reader cleared or destroyed), with the time
/// spent in the library for it (running it and fetching its rows, not the
/// caller's work between fetches) and the rows read; every other kind when its
/// call returns, with the rows it wrote (as the store counts them; 0 for
/// begin, commit and rollback).
struct StatementEvent {
    std::string_view session;           ///< the session name it ran on
    StatementKind kind;                 ///< what ran
    std::chrono::nanoseconds duration;  ///< the time spent in the library for it
    std::uint64_t rows;                 ///< the rows read or written
    unsigned long code;                 ///< what the call returned (0 for success)
    ErrorCategory category;             ///< the kind of fault (None for success)
    /// The statement text (or BEGIN / COMMIT / ROLLBACK) passed through the
    /// log scrubber and cut to kMaxEventText bytes.
    std::string_view text;
};
/// The most bytes of statement text a StatementEvent carries.
inline constexpr std::size_t kMaxEventText = 1024;

/// Receives the statement events (see setStatementObserver()). The views of the
/// event are valid during the call only.
using StatementObserver = std::function<void(const StatementEvent&)>;

/// Hands every statement event to observer, on the thread that ran the
/// statement, from many threads at once; an empty function stops the events.
/// With none set the library does no work for them. An exception the observer
/// throws is not passed on.
VORN_API void setStatementObserver(StatementObserver observer);

/// The statistics of one session name and statement kind since the start (or
/// the last resetStatistics).
struct StatementStatistics {
    std::string session;                       ///< the session name
    StatementKind kind = StatementKind::Read;  ///< the statement kind
    std::uint64_t calls = 0;                   ///< the statements run, failed ones included
    std::uint64_t errors = 0;                  ///< the statements that failed
    /// errors by category, indexed by the category's value
    std::uint64_t errorsByCategory[kErrorCategoryCount] = {};
    std::uint64_t rows = 0;                     ///< the rows read or written, summed
    std::chrono::nanoseconds totalDuration{0};  ///< the time spent, summed
    std::chrono::nanoseconds maxDuration{0};    ///< the longest time one statement took
};

/// Every session name and kind with at least one call, ordered by name, then kind.
VORN_API std::vector<StatementStatistics> statistics();
/// Forgets the statistics of every session name and kind.
VORN_API void resetStatistics();

/// Statements that take at least threshold are logged at information level with
/// their duration, rows, session and scrubbed text. The threshold comes from
/// $VORN_SLOW_STATEMENT_MS (read at first use) unless set here; zero (the
/// default) logs none.
VORN_API void setSlowStatementThreshold(std::chrono::milliseconds threshold);
/// The threshold in force (see setSlowStatementThreshold()); zero when slow
/// statements are not logged.
VORN_API std::chrono::milliseconds slowStatementThreshold();

}  // namespace vorn

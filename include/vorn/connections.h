#pragma once

#include <chrono>
#include <cstddef>

#include "vorn/export.h"

/// @file
/// @brief When the library's connections to the stores are opened and closed.
///
/// The library's open connections: one per thread and session name, opened at
/// the first call that needs it and kept for the calls after it.
///
/// A data source may bound them: with "vorn_max_connections=<n>" in its URL
/// at most n connections are open to it at once, counted over every thread
/// and every session name bound to the same URL. A call that needs a new
/// connection when all n are open takes over one that another thread (or
/// another session name of its own thread) holds idle, i.e. with no
/// transaction open and no reader or session holding it: the connection moves
/// to the calling thread, still used by one thread at a time. A transaction or
/// an open reader keeps its connection. With none idle, the call waits for one
/// to be closed or to go idle, up to its deadline (`<vorn/deadline.h>`; 10 s,
/// the default connect timeout, when it has none) or a cancelCalls(), and
/// then fails, having run nothing, with errc::kTooManyConnections
/// (ErrorCategory::Busy, SQLSTATE 53300). A call that has its thread's
/// connection pays nothing for the budget.
///
/// A connection idle for a second or more is checked before use (outside a
/// transaction): one the server or a middlebox closed meanwhile is replaced,
/// and the call does not fail. A rollback on a lost connection succeeds at
/// once, and a commit on one already known lost fails at once with the
/// store's code of a lost connection; neither opens a new connection.
///
/// A connection is closed
///   - when its thread ends;
///   - at the process's exit (exit(), or main returning): the exiting thread's
///     with it, and the idle SQLite connections of the threads still running;
///   - by closeConnections() (the calling thread's) or closeAllConnections()
///     (every thread's), e.g. at shutdown, before fork() or after the stores
///     were reconfigured;
///   - when it has been idle (no call of its thread on its session name) for
///     the idle time, ten minutes unless setConnectionIdleTimeout says
///     otherwise. The library starts no thread: idle connections are closed by
///     the next call of any thread once their time is up, or by
///     closeIdleConnections(), which a host can call from its own timer.
///
/// When the last connection to an SQLite file closes, its write-ahead log is
/// checkpointed into the database file and removed: the file alone then holds
/// every committed row.
///
/// Closing never cuts into work. A connection that an open reader holds closes
/// when the reader is destroyed, and one inside a transaction is kept until the
/// transaction ends (it closes at its thread's next call after the commit or
/// rollback), so no transaction is lost to a close. A connection that another
/// thread is opening at that moment is left alone by closeAllConnections and
/// closed at that thread's next call.
///
/// After fork(), the child never uses or closes the connections it inherited:
/// they belong to the parent, which goes on using them. The child leaves them
/// untouched (their memory and file handles stay with it, closed at exec) and
/// opens its own at its first call; a reader the parent had open gives the
/// child errc::kInheritedResult. Calling closeAllConnections() before fork()
/// leaves the child nothing inherited; on SQLite this is the safe way, as
/// SQLite's own bookkeeping of open files is copied into the child.

namespace vorn {

/// Closes the calling thread's connections; returns how many were closed at
/// once (the others close as described above).
VORN_API std::size_t closeConnections();
/// Closes every thread's connections; returns how many were closed at once.
VORN_API std::size_t closeAllConnections();
/// Closes every connection idle for the idle time or longer; returns how many.
VORN_API std::size_t closeIdleConnections();

/// The idle time after which a connection is closed; zero (or less) keeps idle
/// connections open.
VORN_API void setConnectionIdleTimeout(std::chrono::milliseconds timeout);
/// The idle time in force: ten minutes unless setConnectionIdleTimeout() set
/// another.
VORN_API std::chrono::milliseconds connectionIdleTimeout();

}  // namespace vorn

#pragma once

#include <string>

#include "vorn/export.h"

/// @file
/// @brief Binding session names to data sources.
///
/// A session name resolves, in this order, to
///   1. a binding made at run time with the functions below;
///   2. a binding from $VORN_DATASOURCES, read at the first use of any session
///      (and again by reloadDataSourcesFromEnvironment), as name=url pairs
///      separated by ';', blanks around names and URLs ignored, e.g.
///        `default=sqlite:/var/lib/nms/task.db;NeBackupDB=sqlite:/var/lib/nms/backup.db`
///   3. the embedded default: the SQLite file `"<dir>/<session name>.db"`, where
///      `<dir>` is $VORN_DATA_DIR (looked at on every session, so a change takes
///      effect at the next call) or, when unset or empty, the current
///      directory. The directory is created if missing. A name that cannot be a
///      file name ("", ".", "..", or holding '/') has no default.
///
/// URL forms:
/// @code{.unparsed}
///   sqlite:<path>[?option=value&...]
///       An SQLite file; a relative path is taken from the current directory.
///       The path runs to the first '?'. Options:
///         mode=rwc           read-write, file created if missing (default)
///         mode=rw            read-write, the file must exist
///         mode=ro            read-only: writes fail with SQLITE_READONLY (8)
///         busy_timeout=<ms>  how long a writer waits for another (default 5000)
///         journal_mode=wal|delete|truncate|persist|memory|off   (default wal)
///         synchronous=off|normal|full|extra   (default: SQLite's own, full)
///   postgresql://[user[:password]@][host][:port][/database][?option=value&...]
///   postgres://...  (the same)
///       A PostgreSQL server (when the library is built with libpq). The URL
///       goes to libpq as it stands, so every libpq parameter works in the
///       query part: sslmode, connect_timeout (default here 10 s unless the
///       URL or $PGCONNECT_TIMEOUT says otherwise), application_name, and
///       options for server settings, e.g. a statement time-out of 5 s:
///         ?options=-c%20statement_timeout%3D5000
///       TCP keepalives (idle 30 s, interval 10 s, 3 probes) and
///       tcp_user_timeout=60000 are on unless the URL sets them, so a dead
///       server or network ends a call with an error instead of a hang.
///       $PGPASSWORD, ~/.pgpass and the other PG* variables apply as in libpq.
///       The library's own options, taken out before libpq sees the URL:
///         vorn_statement_rollback=on|off   on (default): inside a transaction
///                      a failing statement undoes only itself, as on SQLite;
///                      off: PostgreSQL's rule, the whole transaction fails
///                      (and committing it returns SQLSTATE 25P02's code)
///         vorn_fetch_rows=<n>   most rows a read fetches per round trip
///                      (default 10000; reads stream in chunks either way)
///       Errors: the code carries the SQLSTATE (pgCodeFromSqlstate, e.g.
///       23505 unique violation, 42P01 undefined table, 42601 syntax error)
///       and the detail is the server's message; a second statement in one
///       text gives errc::kMultipleStatements; no connection gives 08001's
///       code, a connection lost during a call 08006's (or the server's, e.g.
///       57P01 on shutdown), and the next call reconnects. Text form of the
///       values read: booleans "true" / "false", NULL "", numbers exact. In
///       batches, unsigned 64-bit values above INT64_MAX are stored as the
///       bigint of the same bits (negative), as on SQLite.
///   Schemes are matched without regard to case.
/// @endcode
///
/// Problems: a $VORN_DATASOURCES value that does not parse, or that holds a
/// malformed URL or an unknown scheme, binds nothing, and every session name
/// not bound at run time then fails. A bad URL given to bindDataSource binds
/// the name to an invalid source, so the calls on it fail rather than reach
/// some other store. Each problem is logged once, as an error with code
/// errc::kDataSourceInvalid whose text names the session and the problem
/// (never a password); every call on an affected session name then returns
/// vorn::platform::errc::kDataSourceInvalid with the same explanation as its
/// detail text.
///
/// Each thread keeps one open connection per session name. When a name is
/// rebound to a different URL (or $VORN_DATA_DIR changes for a default name),
/// a thread's connection is replaced at its next use; a transaction it had open
/// on the old connection is rolled back.

namespace vorn {

/// Binds (or rebinds) one session name; 0 on success, otherwise
/// errc::kDataSourceInvalid and a logged error.
VORN_API unsigned long bindDataSource(const std::string& sessionName, const std::string& url);
/// Binds every pair of a "name=url;name=url" list; nothing is bound if any pair
/// is bad (then errc::kDataSourceInvalid and a logged error).
VORN_API unsigned long bindDataSources(const std::string& list);
/// Removes a run-time binding; the name falls back to $VORN_DATASOURCES or the default.
VORN_API void unbindDataSource(const std::string& sessionName);
/// The URL a session name resolves to now, with any password masked; "" if invalid.
VORN_API std::string describeDataSource(const std::string& sessionName);
/// Reads $VORN_DATASOURCES again, replacing what was read from it before
/// (run-time bindings stay); 0, or errc::kDataSourceInvalid and a logged error.
VORN_API unsigned long reloadDataSourcesFromEnvironment();

}  // namespace vorn

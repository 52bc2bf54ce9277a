#pragma once

#include <string>

#include "vorn/export.h"

// Binding session names to data sources.
//
// A session name resolves, in this order, to
//   1. a binding made at run time with the functions below;
//   2. a binding from $VORN_DATASOURCES, read at the first use of any session
//      (and again by reloadDataSourcesFromEnvironment), as name=url pairs
//      separated by ';', blanks around names and URLs ignored, e.g.
//        default=sqlite:/var/lib/nms/task.db;NeBackupDB=sqlite:/var/lib/nms/backup.db
//   3. the embedded default: the SQLite file "<dir>/<session name>.db", where
//      <dir> is $VORN_DATA_DIR (looked at on every session, so a change takes
//      effect at the next call) or, when unset or empty, the current
//      directory. The directory is created if missing. A name that cannot be a
//      file name ("", ".", "..", or holding '/') has no default.
//
// URL forms:
//   sqlite:<path>[?option=value&...]
//       An SQLite file; a relative path is taken from the current directory.
//       The path runs to the first '?'. Options:
//         mode=rwc           read-write, file created if missing (default)
//         mode=rw            read-write, the file must exist
//         mode=ro            read-only: writes fail with SQLITE_READONLY (8)
//         busy_timeout=<ms>  how long a writer waits for another (default 5000)
//         journal_mode=wal|delete|truncate|persist|memory|off   (default wal)
//         synchronous=off|normal|full|extra   (default: SQLite's own, full)
//   Further schemes (postgresql://, postgres://) come with their backends.
//   Schemes are matched without regard to case.
//
// Problems: a $VORN_DATASOURCES value that does not parse, or that holds a
// malformed URL or an unknown scheme, binds nothing, and every session name
// not bound at run time then fails. A bad URL given to bindDataSource binds
// the name to an invalid source, so the calls on it fail rather than reach
// some other store. Each problem is logged once, as an error with code
// errc::kDataSourceInvalid whose text names the session and the problem
// (never a password); every call on an affected session name then returns
// vorn::platform::errc::kDataSourceInvalid with the same explanation as its
// detail text.
//
// Each thread keeps one open connection per session name. When a name is
// rebound to a different URL (or $VORN_DATA_DIR changes for a default name),
// a thread's connection is replaced at its next use; a transaction it had open
// on the old connection is rolled back.
namespace vorn {

// Binds (or rebinds) one session name; 0 on success, otherwise
// errc::kDataSourceInvalid and a logged error.
VORN_API unsigned long bindDataSource(const std::string& sessionName, const std::string& url);
// Binds every pair of a "name=url;name=url" list; nothing is bound if any pair
// is bad (then errc::kDataSourceInvalid and a logged error).
VORN_API unsigned long bindDataSources(const std::string& list);
// Removes a run-time binding; the name falls back to $VORN_DATASOURCES or the default.
VORN_API void unbindDataSource(const std::string& sessionName);
// The URL a session name resolves to now, with any password masked; "" if invalid.
VORN_API std::string describeDataSource(const std::string& sessionName);
// Reads $VORN_DATASOURCES again, replacing what was read from it before
// (run-time bindings stay); 0, or errc::kDataSourceInvalid and a logged error.
VORN_API unsigned long reloadDataSourcesFromEnvironment();

}  // namespace vorn

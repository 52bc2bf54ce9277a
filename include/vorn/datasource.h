#pragma once

#include <string>

#include "vorn/export.h"

// Binding session names to data sources.
//
// A session name that is not bound uses the embedded default, the SQLite file
// "<dir>/<session name>.db", where <dir> is $VORN_DATA_DIR or the current
// directory (created if missing).
//
// Bindings come from $VORN_DATASOURCES, read at first use, as name=url pairs
// separated by ';', e.g.
//   default=sqlite:/var/lib/nms/task.db;NeBackupDB=postgresql://nms@db1/backup
// and from the functions below at run time. URL forms:
//   sqlite:<path>                     an SQLite file (created if missing)
//   postgresql://... / postgres://... a PostgreSQL server (libpq connection URI)
// A malformed binding or unknown scheme is logged; every call that needs the
// session name then fails with vorn::platform::errc::kDataSourceInvalid.
namespace vorn {

// Binds (or rebinds) one session name; 0 on success, otherwise
// errc::kDataSourceInvalid and a logged error. Connections that threads hold
// for the old binding are replaced at their next use.
VORN_API unsigned long bindDataSource(const std::string& sessionName, const std::string& url);
// Binds every pair of a "name=url;name=url" list; nothing is bound if any pair is bad.
VORN_API unsigned long bindDataSources(const std::string& list);
// Removes a run-time binding; the name falls back to $VORN_DATASOURCES or the default.
VORN_API void unbindDataSource(const std::string& sessionName);
// The URL a session name resolves to now, with any password masked; "" if invalid.
VORN_API std::string describeDataSource(const std::string& sessionName);

}  // namespace vorn

#pragma once

/// @file
/// @brief The error codes of the data-access layer and PostgreSQL's SQLSTATE codes.

#include <cstdint>
#include <string>

#include "vorn/export.h"

namespace vorn::platform {

/// Error codes of the data-access layer. A store's own code is passed through:
/// SQLite's extended result code (1 SQLITE_ERROR, 8 SQLITE_READONLY, 2067
/// SQLITE_CONSTRAINT_UNIQUE, ...), or for PostgreSQL a code that carries the
/// SQLSTATE (see pgCodeFromSqlstate), for MariaDB and MySQL a code that
/// carries the server's or the connector's error number (kMariadbCodeMarker).
/// The adapter's own refusals use the range
/// from 0x10000 on, above every SQLite code.
namespace errc {
/// The first code of the adapter's own range (not itself a code).
inline constexpr std::uint64_t kAdapterBase = 0x10000;
/// The session name's data source is malformed or has an unknown URL scheme.
inline constexpr std::uint64_t kDataSourceInvalid = kAdapterBase + 1;
/// The text holds a second statement after the first; nothing was run.
inline constexpr std::uint64_t kMultipleStatements = kAdapterBase + 2;
/// A parameter set or row target of the wrong type was passed. Also: a
/// batch's parameter set that is empty or whose columns differ in length or
/// have an element type it cannot bind, a parameter set run as a read, bound
/// values run as a batch, or a name bound twice among a statement's values;
/// nothing was run.
inline constexpr std::uint64_t kBadParameters = kAdapterBase + 3;
/// fetchRow on a session with no open result.
inline constexpr std::uint64_t kNoResult = kAdapterBase + 4;
/// A placeholder names no column of a batch's parameter set, or has no value
/// bound in a bound statement.
inline constexpr std::uint64_t kUnknownPlaceholder = kAdapterBase + 5;
/// fetchRow in a child of fork() on a result the parent opened; the result is
/// the parent's, so the child gets none of its rows.
inline constexpr std::uint64_t kInheritedResult = kAdapterBase + 6;
/// A bound statement has a value under a name that none of its placeholders
/// has; nothing was run.
inline constexpr std::uint64_t kUnusedParameter = kAdapterBase + 7;
/// A bound statement's text holds a '{' that makes no placeholder, or a
/// parameter marker of the store's own ('?', ':name', '$1'); nothing was run.
inline constexpr std::uint64_t kMalformedPlaceholder = kAdapterBase + 8;
/// The call needed a new connection to a data source whose connections
/// (`vorn_max_connections`) were all in use, and none was given back by the
/// call's deadline (10 s when it has none) or before cancelCalls(); nothing
/// was run. Category Busy, SQLSTATE 53300 (too_many_connections).
inline constexpr std::uint64_t kTooManyConnections = kAdapterBase + 9;
/// The store ended the caller's transaction on its own for a cause that left
/// nothing of it committed and is safe to retry (the connection was lost or
/// replaced, a deadlock, a busy store): every call of the session name on the
/// thread fails with this code until the caller ends the transaction.
/// rollbackTransaction() then returns 0; commitTransaction() fails with this
/// code and ends it too. Category Busy, SQLSTATE 40000 (transaction_rollback).
inline constexpr std::uint64_t kTransactionRolledBack = kAdapterBase + 10;
/// The same for any other cause (a full disk, an I/O error, the call's
/// deadline): running the unit again would meet it again. Category Other,
/// SQLSTATE 25P02 (in_failed_sql_transaction).
inline constexpr std::uint64_t kTransactionAborted = kAdapterBase + 11;
}  // namespace errc

/// PostgreSQL errors: 0x5047 ("PG") in the two top bytes, the five ASCII
/// characters of the SQLSTATE in the five low bytes, so 23505 (unique
/// violation) is 0x5047003233353035.
inline constexpr std::uint64_t kPgCodeMarker = 0x5047ULL << 48;
/// Lower-case letters are taken as upper case; a text that is not five digits
/// or letters gives the code of XX000 (internal_error).
VORN_API std::uint64_t pgCodeFromSqlstate(const std::string& sqlstate);
/// The SQLSTATE carried by a PostgreSQL code, or "" for any other code.
VORN_API std::string sqlstateFromCode(std::uint64_t code);

/// MariaDB and MySQL errors: 0x4D59 ("MY") in the two top bytes, the error
/// number (the server's, 1062 ER_DUP_ENTRY, or the connector's, 2013
/// CR_SERVER_LOST) in the low 32 bits, so 1062 is 0x4D59000000000426.
inline constexpr std::uint64_t kMariadbCodeMarker = 0x4D59ULL << 48;
/// The error number carried by a MariaDB code, or 0 for any other code.
constexpr unsigned int mariadbErrnoFromCode(std::uint64_t code) noexcept {
    return (code & (0xFFFFULL << 48)) == kMariadbCodeMarker ? static_cast<unsigned int>(code) : 0U;
}

}  // namespace vorn::platform

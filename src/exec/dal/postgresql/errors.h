#pragma once

#include <libpq-fe.h>

#include <string>
#include <string_view>
#include <vector>

#include "exec/dal/error_class.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

// SQLSTATEs the PostgreSQL backend reports on its own account.
namespace pgstate {
inline constexpr const char* kConnectionFailure = "08006";
inline constexpr const char* kCannotConnect = "08001";
inline constexpr const char* kInvalidPassword = "28P01";
inline constexpr const char* kFailedTransaction = "25P02";  // COMMIT of a failed transaction
inline constexpr const char* kFeatureNotSupported = "0A000";
inline constexpr const char* kSyntaxError = "42601";
inline constexpr const char* kUntranslatableCharacter = "22021";  // a NUL byte in text
inline constexpr const char* kOutOfMemory = "53200";
inline constexpr const char* kInternalError = "XX000";
inline constexpr const char* kQueryCanceled = "57014";
inline constexpr const char* kTransactionResolutionUnknown = "08007";
}  // namespace pgstate

// PostgreSQL's codes sorted into categories by their SQLSTATE, which is kept
// as the server sent it.
ErrorClass pgClassify(std::uint64_t code, std::string_view message);

// The table pgClassify applies, for the manual.
std::vector<ErrorRow> pgErrorRows();

// message on one line: runs of blanks, tabs and line breaks become one blank,
// and leading and trailing ones go.
std::string pgOneLine(std::string_view message);

// A failure with the code of sqlstate (see platform::pgCodeFromSqlstate).
platform::ExecResult pgFailure(const char* sqlstate, std::string detail);

// The failure a result reports: the code of its SQLSTATE and PostgreSQL's
// primary message as the detail. Without a SQLSTATE (an error of libpq
// itself, e.g. a lost connection) the detail is libpq's message and the code
// that of 08006 when the message says that the connection is gone or the
// connection is broken, else of XX000.
platform::ExecResult pgResultFailure(const PGresult* result, PGconn* conn);

// The SQLSTATE of a failed connect, told from libpq's message (on one line)
// and whether the server asked for a password that was not given
// (PQconnectionNeedsPassword): 28P01 or 28000 for a refused authentication
// or a session whose security cannot be had, 53300 for a full server, the
// server's own for its other refusals, else 08001.
const char* pgConnectState(std::string_view message, bool passwordNeeded);

// True when a failure means the connection cannot be used again: libpq sees
// it as broken, the SQLSTATE is of class 08 (connection exception), libpq's
// own message says that the connection is gone, or the server ended the
// session (severity FATAL or PANIC, e.g. 57P01 on shutdown).
bool pgConnectionLost(const PGresult* result, PGconn* conn);

// True when result is the server's refusal of a text holding more than one
// statement: SQLSTATE 42601 without an error position (a syntax error has
// one), for a text that does hold a second statement.
bool pgMultipleStatementsRefused(const PGresult* result, std::string_view sql);

}  // namespace vorn::dal

// The portable category and SQLSTATE of a returned code. The same fault gets
// the same category on every store. Where SQLite has no SQLSTATE, the one
// PostgreSQL reports for the same fault is taken, else the nearest standard one.
//
// PostgreSQL (by SQLSTATE; the SQLSTATE is kept as the server sent it)
//   00000                                   None       ""
//   class 08, 57P01, 57P02, 57P03           ConnectionLost
//   57014, 25P03, 57P05                     Timeout    (57P05, the idle-session
//                                                      time-out, like 25P03)
//   40001, 40P01, 55P03, 55006              Busy
//   class 23                                Constraint
//   42501, 25006, class 28                  Permission
//   other class 42                          Syntax
//   class 22                                InvalidValue
//   anything else                           Other
//   a PostgreSQL code without a readable SQLSTATE: Other XX000
//
// SQLite (by extended result code; primary code = code & 0xFF)
//   SQLITE_ERROR (1), by the store's message (the first that fits):
//     starts with "no such table"           Syntax     42P01
//     starts with "no such column"          Syntax     42703
//     starts with "no such function"        Syntax     42883
//     starts with "no such savepoint"       Other      3B001
//     other "no such ..." (index, view, ...) Syntax    42704
//     starts with "ambiguous column name"   Syntax     42702
//     starts with "wrong number of arguments" Syntax   42883
//     starts with "unrecognized token", "incomplete input"
//                                           Syntax     42601
//     "cannot commit - no transaction is active", same for rollback
//                                           Other      25P01 (PostgreSQL only warns,
//                                                      no_active_sql_transaction)
//     "cannot start a transaction within a transaction"
//                                           Other      25001
//     starts with "integer overflow"        InvalidValue 22003
//     holds "syntax error"                  Syntax     42601
//     holds "has no column named"           Syntax     42703
//     holds "already exists"                Syntax     42P07
//     holds "values were supplied", " values for " (value count
//       differs from the column count)      Syntax     42601
//     any other message                     Other      HY000 (the CLI's general
//                                                      error, as ODBC reports it)
//   SQLITE_CONSTRAINT (19): UNIQUE 2067, PRIMARYKEY 1555, ROWID 2579 -> 23505;
//     FOREIGNKEY 787 -> 23503; NOTNULL 1299 -> 23502; CHECK 275 -> 23514;
//     the rest -> 23000; all Constraint, except DATATYPE 3091 (a STRICT
//     table refusing a value) -> InvalidValue 22P02, as PostgreSQL reports
//     text that is no valid value of the column's type
//   SQLITE_BUSY 5 and extended, SQLITE_LOCKED 6 and extended
//                                           Busy       55P03 (lock_not_available,
//                                                      what PostgreSQL reports when
//                                                      a lock cannot be had)
//     except BUSY_SNAPSHOT 517              Busy       40001 (serialization failure)
//   SQLITE_READONLY 8 and extended          Permission 25006
//   SQLITE_PERM 3, SQLITE_AUTH 23           Permission 42501
//   SQLITE_CANTOPEN 14 and extended         ConnectionLost 08001
//   SQLITE_INTERRUPT 9                      Timeout    57014
//   SQLITE_TOOBIG 18                        InvalidValue 22001
//   SQLITE_MISMATCH 20                      InvalidValue 22P02 (as PostgreSQL for
//                                                      a value of the wrong type)
//   SQLITE_RANGE 25                         InvalidValue 22023 (a parameter index
//                                                      out of range)
//   SQLITE_FULL 13                          Other      53100
//   SQLITE_IOERR 10 and extended            Other      58030
//   SQLITE_CORRUPT 11, SQLITE_NOTADB 26     Other      XX001
//   SQLITE_NOMEM 7                          Other      53200
//   SQLITE_ABORT 4 and extended             Other      40000
//   anything else                           Other      HY000
//
// The adapter's own codes (vorn/platform/error_codes.h), all Refused:
//   kDataSourceInvalid   08001 (no connection can be made from it)
//   kMultipleStatements  42601
//   kBadParameters       07006 (restricted data type attribute violation)
//   kUnknownPlaceholder  07001 (parameters do not match the placeholders)
//   kNoResult            24000 (invalid cursor state)
//   kInheritedResult     24000
//   any other            ""
//   code 1 with refusedByLibrary: Refused ""
#include "exec/diagnostics/error_category.h"

#include "vorn/platform/error_codes.h"

namespace vorn {

const char* toString(ErrorCategory category) noexcept {
    switch (category) {
        case ErrorCategory::None:
            return "None";
        case ErrorCategory::Refused:
            return "Refused";
        case ErrorCategory::Syntax:
            return "Syntax";
        case ErrorCategory::Constraint:
            return "Constraint";
        case ErrorCategory::Busy:
            return "Busy";
        case ErrorCategory::ConnectionLost:
            return "ConnectionLost";
        case ErrorCategory::Permission:
            return "Permission";
        case ErrorCategory::InvalidValue:
            return "InvalidValue";
        case ErrorCategory::Timeout:
            return "Timeout";
        case ErrorCategory::Other:
            return "Other";
    }
    return "Unknown";
}

}  // namespace vorn

namespace vorn::diag {

namespace {

constexpr std::uint64_t kMarkerMask = 0xFFFFULL << 48;

bool isOneOf(const std::string& sqlstate, std::initializer_list<const char*> states) {
    for (const char* state : states) {
        if (sqlstate == state) {
            return true;
        }
    }
    return false;
}

ErrorCategory pgCategory(const std::string& sqlstate) {
    const std::string cls = sqlstate.substr(0, 2);
    if (sqlstate == "00000") {
        return ErrorCategory::None;
    }
    if (cls == "08" || isOneOf(sqlstate, {"57P01", "57P02", "57P03"})) {
        return ErrorCategory::ConnectionLost;
    }
    if (isOneOf(sqlstate, {"57014", "25P03", "57P05"})) {
        return ErrorCategory::Timeout;
    }
    if (isOneOf(sqlstate, {"40001", "40P01", "55P03", "55006"})) {
        return ErrorCategory::Busy;
    }
    if (cls == "23") {
        return ErrorCategory::Constraint;
    }
    if (cls == "28" || isOneOf(sqlstate, {"42501", "25006"})) {
        return ErrorCategory::Permission;
    }
    if (cls == "42") {
        return ErrorCategory::Syntax;
    }
    if (cls == "22") {
        return ErrorCategory::InvalidValue;
    }
    return ErrorCategory::Other;
}

Classified classifyPostgres(std::uint64_t code) {
    std::string sqlstate = platform::sqlstateFromCode(code);
    if (sqlstate.empty()) {
        return {ErrorCategory::Other, "XX000", 0};
    }
    const ErrorCategory category = pgCategory(sqlstate);
    if (category == ErrorCategory::None) {
        sqlstate.clear();
    }
    return {category, sqlstate, 0};
}

Classified classifyAdapter(std::uint64_t code) {
    const char* sqlstate = "";
    switch (code) {
        case platform::errc::kDataSourceInvalid:
            sqlstate = "08001";
            break;
        case platform::errc::kMultipleStatements:
            sqlstate = "42601";
            break;
        case platform::errc::kBadParameters:
            sqlstate = "07006";
            break;
        case platform::errc::kUnknownPlaceholder:
        case platform::errc::kUnusedParameter:
            sqlstate = "07001";
            break;
        case platform::errc::kMalformedPlaceholder:
            sqlstate = "42601";
            break;
        case platform::errc::kNoResult:
        case platform::errc::kInheritedResult:
            sqlstate = "24000";
            break;
        default:
            break;
    }
    return {ErrorCategory::Refused, sqlstate, 0};
}

}  // namespace

Classified classify(std::uint64_t code, std::string_view message, bool refusedByLibrary) {
    if (code == 0) {
        return {};
    }
    if ((code & kMarkerMask) == platform::kPgCodeMarker) {
        return classifyPostgres(code);
    }
    if (code >= platform::errc::kAdapterBase && code < platform::kPgCodeMarker) {
        return classifyAdapter(code);
    }
    if (code == 1 && refusedByLibrary) {
        return {ErrorCategory::Refused, "", 0};
    }
    return classifySqlite(code, message);
}

}  // namespace vorn::diag

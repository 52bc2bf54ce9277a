#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <vector>

#include "store_classify.h"
#include "vorn/platform/error_codes.h"

namespace {

using vorn::ErrorCategory;
using vorn::platform::pgCodeFromSqlstate;
using vorn::test::classify;
namespace errc = vorn::platform::errc;

struct Expected {
    ErrorCategory category;
    std::string sqlstate;
};

void expectClassified(std::uint64_t code, const std::string& message, bool refused,
                      const Expected& expected, std::uint64_t storeCode) {
    const vorn::dal::ErrorClass got = classify(code, message, refused);
    EXPECT_EQ(vorn::toString(got.category), std::string(vorn::toString(expected.category)));
    EXPECT_EQ(got.sqlstate, expected.sqlstate);
    EXPECT_EQ(got.storeCode, storeCode);
}

// SQLSTATEs by their class. A fault gets the same category on both stores:
// these are PostgreSQL's codes of the faults error_category_sqlite_test.cpp
// has SQLite raise (and tests/e2e/diagnostics_test.cpp has both stores).
TEST(ErrorCategory, PostgresSqlstatesByClass) {
    const std::vector<std::pair<std::string, ErrorCategory>> cases = {
        {"08006", ErrorCategory::ConnectionLost}, {"08P01", ErrorCategory::ConnectionLost},
        {"57P02", ErrorCategory::ConnectionLost}, {"57P03", ErrorCategory::ConnectionLost},
        {"25P03", ErrorCategory::Timeout},        {"57P05", ErrorCategory::Timeout},
        {"55006", ErrorCategory::Busy},           {"23000", ErrorCategory::Constraint},
        {"23P01", ErrorCategory::Constraint},     {"28P01", ErrorCategory::Permission},
        {"28000", ErrorCategory::Permission},     {"42P02", ErrorCategory::Syntax},
        {"42804", ErrorCategory::Syntax},         {"22012", ErrorCategory::InvalidValue},
        {"22003", ErrorCategory::InvalidValue},   {"40000", ErrorCategory::Other},
        {"25P01", ErrorCategory::Other},          {"55000", ErrorCategory::Other},
        {"57000", ErrorCategory::Other},          {"53200", ErrorCategory::Other},
        {"XX000", ErrorCategory::Other},          {"P0001", ErrorCategory::Other},
        {"53300", ErrorCategory::Busy},           {"42601", ErrorCategory::Syntax},
        {"42P01", ErrorCategory::Syntax},         {"42703", ErrorCategory::Syntax},
        {"42883", ErrorCategory::Syntax},         {"42P07", ErrorCategory::Syntax},
        {"23505", ErrorCategory::Constraint},     {"23503", ErrorCategory::Constraint},
        {"23502", ErrorCategory::Constraint},     {"23514", ErrorCategory::Constraint},
        {"55P03", ErrorCategory::Busy},           {"40001", ErrorCategory::Busy},
        {"40P01", ErrorCategory::Busy},           {"25006", ErrorCategory::Permission},
        {"42501", ErrorCategory::Permission},     {"08001", ErrorCategory::ConnectionLost},
        {"57P01", ErrorCategory::ConnectionLost}, {"57014", ErrorCategory::Timeout},
        {"22P02", ErrorCategory::InvalidValue},   {"22001", ErrorCategory::InvalidValue},
        {"53100", ErrorCategory::Other},
    };
    for (const auto& [sqlstate, category] : cases) {
        SCOPED_TRACE(sqlstate);
        expectClassified(pgCodeFromSqlstate(sqlstate), "", false, {category, sqlstate}, 0);
    }
    // Success carries no SQLSTATE; a marked code without a readable one is an
    // internal error.
    expectClassified(pgCodeFromSqlstate("00000"), "", false, {ErrorCategory::None, ""}, 0);
    expectClassified(vorn::platform::kPgCodeMarker | 0x01, "", false,
                     {ErrorCategory::Other, "XX000"}, 0);
}

struct SqliteCase {
    std::uint64_t code;
    const char* message;
    Expected expected;
};

// SQLite's codes and SQLITE_ERROR messages beyond those error_category_sqlite_test.cpp
// has SQLite raise.
TEST(ErrorCategory, SqliteCodesAndMessages) {
    const std::vector<SqliteCase> cases = {
        {SQLITE_ERROR, "unrecognized token: \"'abc\"", {ErrorCategory::Syntax, "42601"}},
        {SQLITE_ERROR,
         "table alarm has 2 columns but 3 values were supplied",
         {ErrorCategory::Syntax, "42601"}},
        {SQLITE_ERROR, "3 values for 2 columns", {ErrorCategory::Syntax, "42601"}},
        {SQLITE_ERROR, "ambiguous column name: id", {ErrorCategory::Syntax, "42702"}},
        {SQLITE_ERROR,
         "wrong number of arguments to function abs()",
         {ErrorCategory::Syntax, "42883"}},
        {SQLITE_ERROR, "no such index: alarm_level", {ErrorCategory::Syntax, "42704"}},
        {SQLITE_ERROR, "no such savepoint: s1", {ErrorCategory::Other, "3B001"}},
        // A name quoted in the message does not decide its kind.
        {SQLITE_ERROR, "no such table: syntax error", {ErrorCategory::Syntax, "42P01"}},
        {SQLITE_ERROR, "cannot commit - no transaction is active", {ErrorCategory::Other, "25P01"}},
        {SQLITE_ERROR,
         "cannot rollback - no transaction is active",
         {ErrorCategory::Other, "25P01"}},
        {SQLITE_ERROR,
         "cannot start a transaction within a transaction",
         {ErrorCategory::Other, "25001"}},
        {SQLITE_ERROR, "integer overflow", {ErrorCategory::InvalidValue, "22003"}},
        {SQLITE_ERROR, "SQL logic error", {ErrorCategory::Other, "HY000"}},
        {SQLITE_ERROR, "", {ErrorCategory::Other, "HY000"}},
        {SQLITE_CONSTRAINT, "constraint failed", {ErrorCategory::Constraint, "23000"}},
        {SQLITE_CONSTRAINT_ROWID, "", {ErrorCategory::Constraint, "23505"}},
        {SQLITE_CONSTRAINT_TRIGGER, "raised", {ErrorCategory::Constraint, "23000"}},
        {SQLITE_BUSY_SNAPSHOT, "database is locked", {ErrorCategory::Busy, "40001"}},
        {SQLITE_LOCKED, "database table is locked", {ErrorCategory::Busy, "55P03"}},
        {SQLITE_AUTH, "not authorized", {ErrorCategory::Permission, "42501"}},
        {SQLITE_CANTOPEN_NOTEMPDIR, "", {ErrorCategory::ConnectionLost, "08001"}},
        {SQLITE_FULL, "database or disk is full", {ErrorCategory::Other, "53100"}},
        {SQLITE_BUSY_RECOVERY, "", {ErrorCategory::Busy, "55P03"}},
        {SQLITE_BUSY_TIMEOUT, "", {ErrorCategory::Busy, "55P03"}},
        {SQLITE_LOCKED_SHAREDCACHE, "", {ErrorCategory::Busy, "55P03"}},
        {SQLITE_LOCKED_VTAB, "", {ErrorCategory::Busy, "55P03"}},
        {SQLITE_READONLY_DBMOVED, "", {ErrorCategory::Other, "58P01"}},
        {SQLITE_READONLY_ROLLBACK, "", {ErrorCategory::Permission, "25006"}},
        {SQLITE_PERM, "", {ErrorCategory::Permission, "42501"}},
        {SQLITE_RANGE, "column index out of range", {ErrorCategory::InvalidValue, "22023"}},
        {SQLITE_IOERR_WRITE, "disk I/O error", {ErrorCategory::Other, "58030"}},
        {SQLITE_CORRUPT, "", {ErrorCategory::Other, "XX001"}},
        {SQLITE_NOTADB, "", {ErrorCategory::Other, "XX001"}},
        {SQLITE_NOMEM, "", {ErrorCategory::Other, "53200"}},
        {SQLITE_ABORT_ROLLBACK, "", {ErrorCategory::Other, "40000"}},
        {SQLITE_MISUSE, "bad parameter or other API misuse", {ErrorCategory::Other, "HY000"}},
        {SQLITE_SCHEMA, "", {ErrorCategory::Other, "HY000"}},
    };
    for (const SqliteCase& c : cases) {
        SCOPED_TRACE(std::to_string(c.code) + " " + c.message);
        expectClassified(c.code, c.message, false, c.expected, c.code);
    }
}

// The adapter's own codes and the library's code 1 are refusals, whatever
// text comes with them.
TEST(ErrorCategory, LibraryRefusals) {
    const std::vector<std::pair<std::uint64_t, std::string>> cases = {
        {errc::kDataSourceInvalid, "08001"}, {errc::kMultipleStatements, "42601"},
        {errc::kBadParameters, "07006"},     {errc::kUnknownPlaceholder, "07001"},
        {errc::kNoResult, "24000"},          {errc::kInheritedResult, "24000"},
        {errc::kUnusedParameter, "07001"},   {errc::kMalformedPlaceholder, "42601"},
        {errc::kAdapterBase + 0x100, ""},
    };
    for (const auto& [code, sqlstate] : cases) {
        SCOPED_TRACE(code);
        expectClassified(code, "no such table: x", false, {ErrorCategory::Refused, sqlstate}, 0);
    }
    // No connection within the data source's budget: the store is busy, not
    // the call refused.
    expectClassified(errc::kTooManyConnections, "", false, {ErrorCategory::Busy, "53300"}, 0);
    expectClassified(1, "syntax error", true, {ErrorCategory::Refused, ""}, 0);
    // Without the flag, 1 is SQLite's SQLITE_ERROR.
    expectClassified(1, "syntax error", false, {ErrorCategory::Syntax, "42601"}, 1);
    expectClassified(0, "no such table: x", true, {ErrorCategory::None, ""}, 0);
}

TEST(ErrorCategory, NamesEveryCategory) {
    const std::vector<std::pair<ErrorCategory, std::string>> names = {
        {ErrorCategory::None, "None"},
        {ErrorCategory::Refused, "Refused"},
        {ErrorCategory::Syntax, "Syntax"},
        {ErrorCategory::Constraint, "Constraint"},
        {ErrorCategory::Busy, "Busy"},
        {ErrorCategory::ConnectionLost, "ConnectionLost"},
        {ErrorCategory::Permission, "Permission"},
        {ErrorCategory::InvalidValue, "InvalidValue"},
        {ErrorCategory::Timeout, "Timeout"},
        {ErrorCategory::Other, "Other"},
    };
    for (const auto& [category, name] : names) {
        EXPECT_EQ(vorn::toString(category), name);
    }
    EXPECT_EQ(vorn::toString(static_cast<ErrorCategory>(200)), std::string("Unknown"));
}

}  // namespace

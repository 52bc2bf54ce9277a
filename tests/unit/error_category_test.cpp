// How failures are sorted into categories: PostgreSQL's SQLSTATEs, SQLite's
// codes and messages (as tables, and as SQLite itself raises them: its real
// codes and messages, not copies of them, so a change in SQLite's wording
// shows here) and the library's own codes.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <vector>

#include "raw_sqlite.h"
#include "scratch_dir.h"
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
// these are PostgreSQL's codes of the faults SQLite raises below (and
// tests/e2e/bad_input_test.cpp has both stores raise).
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

// SQLite's codes and SQLITE_ERROR messages beyond those SQLite raises below.
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

// Every category's name shows in the manual's page (error_page_test.cpp); a
// value that is none of them has a name too.
TEST(ErrorCategory, AValueOfNoCategoryIsUnknown) {
    EXPECT_STREQ(vorn::toString(static_cast<ErrorCategory>(200)), "Unknown");
}

using Database = vorn::test::RawSqlite;
using Rows = std::vector<std::vector<std::string>>;

// sql fails on db (none is run where it is empty), and the SQLite backend
// sorts the failure into category and sqlstate, keeping SQLite's code.
void expectFailure(const Database& db, const std::string& sql, ErrorCategory category,
                   const std::string& sqlstate) {
    SCOPED_TRACE(sql);
    if (!sql.empty()) {
        ASSERT_NE(db.run(sql), SQLITE_OK);
    }
    SCOPED_TRACE(db.error());
    const auto code = static_cast<std::uint64_t>(sqlite3_extended_errcode(db.handle()));
    expectClassified(code, db.error(), false, {category, sqlstate}, code);
}

struct StatementFault {
    const char* sql;
    ErrorCategory category;
    const char* sqlstate;
};

TEST(ErrorCategorySqlite, FaultsOfStatementsAsSqliteReportsThem) {
    vorn::test::ScratchDir dir;
    Database db(dir.file("faults.db"));
    ASSERT_EQ(db.openStatus(), SQLITE_OK);
    ASSERT_EQ(db.run("PRAGMA foreign_keys = ON;"
                     "CREATE TABLE kind (id INTEGER PRIMARY KEY);"
                     "INSERT INTO kind VALUES (1);"
                     "CREATE TABLE alarm (id INTEGER PRIMARY KEY, code TEXT UNIQUE,"
                     " text TEXT NOT NULL, level INTEGER CHECK (level >= 0),"
                     " kind INTEGER REFERENCES kind(id));"
                     "CREATE TABLE strict_alarm (level INTEGER) STRICT;"
                     "INSERT INTO alarm VALUES (1, 'a', 'stored', 1, 1);"),
              SQLITE_OK);
    const std::vector<StatementFault> faults = {
        {"selec * from alarm", ErrorCategory::Syntax, "42601"},
        {"select * from alarm where (", ErrorCategory::Syntax, "42601"},
        {"select * from absent", ErrorCategory::Syntax, "42P01"},
        {"select lvl from alarm", ErrorCategory::Syntax, "42703"},
        {"insert into alarm (lvl) values (1)", ErrorCategory::Syntax, "42703"},
        {"select nofn(1)", ErrorCategory::Syntax, "42883"},
        {"create table alarm (x)", ErrorCategory::Syntax, "42P07"},
        {"insert into alarm values (1, 2, 3)", ErrorCategory::Syntax, "42601"},
        {"insert into alarm values (1, 'b', 't', 1, 1)", ErrorCategory::Constraint, "23505"},
        {"insert into alarm values (2, 'a', 't', 1, 1)", ErrorCategory::Constraint, "23505"},
        {"insert into alarm values (2, 'b', 't', 1, 9)", ErrorCategory::Constraint, "23503"},
        {"insert into alarm values (2, 'b', null, 1, 1)", ErrorCategory::Constraint, "23502"},
        {"insert into alarm values (2, 'b', 't', -1, 1)", ErrorCategory::Constraint, "23514"},
        {"insert into alarm (id, text) values ('x', 't')", ErrorCategory::InvalidValue, "22P02"},
        {"insert into strict_alarm values ('high')", ErrorCategory::InvalidValue, "22P02"},
        {"commit", ErrorCategory::Other, "25P01"},
    };
    for (const StatementFault& fault : faults) {
        expectFailure(db, fault.sql, fault.category, fault.sqlstate);
    }
    EXPECT_EQ(db.rows("select count(*), text from alarm"), (Rows{{"1", "stored"}}));
}

TEST(ErrorCategorySqlite, FaultsOfTheStoreAsSqliteReportsThem) {
    vorn::test::ScratchDir dir;
    const std::string path = dir.file("store.db");
    Database writer(path);
    ASSERT_EQ(writer.run("CREATE TABLE alarm (id INTEGER); INSERT INTO alarm VALUES (1);"),
              SQLITE_OK);

    Database reader(path, SQLITE_OPEN_READONLY);
    expectFailure(reader, "insert into alarm values (2)", ErrorCategory::Permission, "25006");

    ASSERT_EQ(writer.run("BEGIN IMMEDIATE; INSERT INTO alarm VALUES (3);"), SQLITE_OK);
    Database other(path);
    expectFailure(other, "insert into alarm values (4)", ErrorCategory::Busy, "55P03");
    ASSERT_EQ(writer.run("ROLLBACK"), SQLITE_OK);

    sqlite3_progress_handler(
        other.handle(), 1, [](void*) { return 1; }, nullptr);
    expectFailure(other, "select count(*) from alarm", ErrorCategory::Timeout, "57014");
    sqlite3_progress_handler(other.handle(), 0, nullptr, nullptr);

    sqlite3_limit(other.handle(), SQLITE_LIMIT_LENGTH, 16);
    expectFailure(other, "select zeroblob(64)", ErrorCategory::InvalidValue, "22001");

    Database missing(dir.file("no/such/dir.db"));
    ASSERT_NE(missing.openStatus(), SQLITE_OK);
    expectFailure(missing, "", ErrorCategory::ConnectionLost, "08001");

    EXPECT_EQ(other.rows("select id from alarm"), Rows{{"1"}});
}

}  // namespace

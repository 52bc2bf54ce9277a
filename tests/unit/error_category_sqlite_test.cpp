// The categories of faults SQLite itself raises: its real codes and messages,
// not copies of them, so a change in SQLite's wording shows here.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <vector>

#include "raw_sqlite.h"
#include "scratch_dir.h"
#include "store_classify.h"

namespace {

using vorn::ErrorCategory;
using Rows = std::vector<std::vector<std::string>>;

using Database = vorn::test::RawSqlite;

// The last failure of db, as the SQLite backend classifies it.
vorn::dal::ErrorClass classifyLast(const Database& db) {
    const auto code = static_cast<std::uint64_t>(sqlite3_extended_errcode(db.handle()));
    return vorn::test::classify(code, sqlite3_errmsg(db.handle()), false);
}

void expectCategory(const vorn::dal::ErrorClass& got, ErrorCategory category,
                    const std::string& sqlstate) {
    EXPECT_EQ(vorn::toString(got.category), std::string(vorn::toString(category)));
    EXPECT_EQ(got.sqlstate, sqlstate);
    EXPECT_NE(got.storeCode, 0U);
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
        SCOPED_TRACE(fault.sql);
        ASSERT_NE(db.run(fault.sql), SQLITE_OK);
        SCOPED_TRACE(sqlite3_errmsg(db.handle()));
        expectCategory(classifyLast(db), fault.category, fault.sqlstate);
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
    ASSERT_NE(reader.run("insert into alarm values (2)"), SQLITE_OK);
    expectCategory(classifyLast(reader), ErrorCategory::Permission, "25006");

    ASSERT_EQ(writer.run("BEGIN IMMEDIATE; INSERT INTO alarm VALUES (3);"), SQLITE_OK);
    Database other(path);
    ASSERT_NE(other.run("insert into alarm values (4)"), SQLITE_OK);
    expectCategory(classifyLast(other), ErrorCategory::Busy, "55P03");
    ASSERT_EQ(writer.run("ROLLBACK"), SQLITE_OK);

    sqlite3_progress_handler(
        other.handle(), 1, [](void*) { return 1; }, nullptr);
    ASSERT_NE(other.run("select count(*) from alarm"), SQLITE_OK);
    expectCategory(classifyLast(other), ErrorCategory::Timeout, "57014");
    sqlite3_progress_handler(other.handle(), 0, nullptr, nullptr);

    sqlite3_limit(other.handle(), SQLITE_LIMIT_LENGTH, 16);
    ASSERT_NE(other.run("select zeroblob(64)"), SQLITE_OK);
    expectCategory(classifyLast(other), ErrorCategory::InvalidValue, "22001");

    Database missing(dir.file("no/such/dir.db"));
    ASSERT_NE(missing.openStatus(), SQLITE_OK);
    expectCategory(classifyLast(missing), ErrorCategory::ConnectionLost, "08001");

    EXPECT_EQ(other.rows("select id from alarm"), Rows{{"1"}});
}

}  // namespace

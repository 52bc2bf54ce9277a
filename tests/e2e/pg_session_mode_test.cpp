// PostgreSQL only: values written by the builders stay data, and UTF-8 text
// stays itself, whatever mode the server, database, role or caller puts the
// session in. Each test gets a database of its own, so its settings reach no
// other test.
#include <gtest/gtest.h>

#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include "render_case.h"
#include "store_fixture.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

std::vector<long> ids(const CVORNCriterion& condition) {
    return selectedIds(idsWhere("t", condition));
}

std::string hex(const std::string& bytes) {
    std::string out;
    for (const unsigned char c : bytes) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", c);
        out += pair;
    }
    return out;
}

class PgSessionModeTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (postgresUrl().empty()) {
            GTEST_SKIP() << kNoServer;
        }
        m_database = uniqueSchemaName();
        ASSERT_TRUE(adminExecute("create database " + m_database +
                                 " template template0 encoding 'UTF8' lc_collate 'C' "
                                 "lc_ctype 'C'"));
        // Through the pooler when there is one: it must keep the session mode too.
        const std::string server = poolerUrl().empty()
                                       ? postgresUrl()
                                       : withOptions(poolerUrl(), "vorn_pool_mode=transaction");
        ASSERT_EQ(bindDataSource("default", withDatabase(server, m_database)), 0u);
    }

    void TearDown() override {
        if (m_database.empty()) {
            return;
        }
        unbindDataSource("default");
        adminExecute("alter role current_user in database " + m_database + " reset all");
        adminExecute("alter database " + m_database + " reset all");
        adminExecute("drop database " + m_database + " with (force)");
    }

    std::string m_database;
};

// Each payload has a backslash before a quote: with standard_conforming_strings
// off the backslash would escape the quote the builders double, and the rest
// of the value would run as SQL.
const std::string kOrAll = "x\\' or 1=1) --";
const std::string kSecondRow = "x\\'), (99, $$injected$$) --";
const std::string kWhereAll = "x\\' where 1=1 --";
const Rows kStored = {{"1", "plain"}, {"2", kOrAll},        {"3", kSecondRow},
                      {"4", "\\"},    {"5", "a\\'b\\\\'c"}, {"6", kWhereAll}};

// Where standard_conforming_strings is turned off: the database's or the
// role's default (set by the administrator), or the caller's own SET.
struct Off {
    const char* name;
    const char* adminPrefix;  // of "<prefix><database> set ...", or null: the caller's SET
};
VORN_PRINT_BY_NAME(Off);

class PgQuotingModeTest : public PgSessionModeTest, public ::testing::WithParamInterface<Off> {
  protected:
    void turnOff() {
        const std::string setting = "set standard_conforming_strings = off";
        if (GetParam().adminPrefix != nullptr) {
            ASSERT_TRUE(adminExecute(GetParam().adminPrefix + m_database + " " + setting));
        } else {
            ASSERT_EQ(runWrite(setting), 0u);
        }
    }
};

TEST_P(PgQuotingModeTest, BackslashesBeforeQuotesStayData) {
    turnOff();
    ASSERT_EQ(runWrite("create table t(id integer, name text)"), 0u);
    for (const auto& row : kStored) {
        CVORNInserter inserter;
        inserter.table("t");
        inserter["id"]["name"] << std::stol(row[0]) << (row[0] == "6" ? "six" : row[1]);
        EXPECT_EQ(runStatement(inserter), 0u) << inserter.toString();
    }
    CVORNUpdater updater;
    updater.table("t");
    updater["name"].assign(kWhereAll);
    updater.where(CVORNTable("t")["id"] == 6);
    EXPECT_EQ(runStatement(updater), 0u) << updater.toString();
    EXPECT_EQ(runQuery("select id, name from t order by id", 2), kStored);

    const CVORNTable t("t");
    EXPECT_EQ(ids(t["name"] <= kOrAll), (std::vector<long>{1, 2, 4, 5}));
    EXPECT_EQ(ids(t["name"] >= kOrAll), (std::vector<long>{2, 3, 6}));
    EXPECT_EQ(ids(t["name"] <= kWhereAll && t["name"] >= kWhereAll), (std::vector<long>{6}));
    // In a LIKE pattern the backslash escapes the quote after it: the values
    // that end in "' or 1=1) --".
    EXPECT_EQ(ids(t["name"].like("%" + kOrAll.substr(1))), (std::vector<long>{2}));
    EXPECT_EQ(runQuery("select id, name from t order by id", 2), kStored);
}

INSTANTIATE_TEST_SUITE_P(Off, PgQuotingModeTest,
                         ::testing::Values(Off{"DatabaseDefault", "alter database "},
                                           Off{"RoleDefault",
                                               "alter role current_user in database "},
                                           Off{"SessionSet", nullptr}),
                         [](const auto& test) { return std::string(test.param.name); });

// A raw SET, inside a transaction or not: the next statement is already back
// in the library's mode.
TEST_F(PgSessionModeTest, ARawSetLastsOnlyUntilTheNextStatement) {
    ASSERT_EQ(runWrite("create table t(id integer, name text)"), 0u);
    Database db;
    ASSERT_EQ(db->beginTransaction(), 0u);
    ASSERT_EQ(runWrite("set standard_conforming_strings = off"), 0u);
    CVORNInserter inserter;
    inserter.table("t");
    inserter["id"]["name"] << 3 << kSecondRow;
    ASSERT_EQ(runStatement(inserter), 0u) << inserter.toString();
    ASSERT_EQ(db->commitTransaction(), 0u);
    EXPECT_EQ(ids(CVORNTable("t")["name"] >= kSecondRow), (std::vector<long>{3}));
    EXPECT_EQ(runQuery("select id, name from t", 2), (Rows{{"3", kSecondRow}}));
    // Statements that refuse to run in a pipeline or a transaction still run.
    ASSERT_EQ(runWrite("set standard_conforming_strings = off"), 0u);
    EXPECT_EQ(runWrite("vacuum t"), 0u);
}

// With LATIN1 as the role's client encoding in the database, or set by the
// caller, the UTF-8 bytes the library sends would be taken for LATIN1
// characters: they would come back unchanged but be stored as other text.
TEST_F(PgSessionModeTest, Utf8TextStaysUtf8WhateverTheClientEncodingDefault) {
    ASSERT_TRUE(adminExecute("alter role current_user in database " + m_database +
                             " set client_encoding = 'LATIN1'"));
    const std::string text = "\xC3\xA9t\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80";  // été € 😀
    ASSERT_EQ(runWrite("create table t(id integer, name text)"), 0u);
    CVORNInserter inserter;
    inserter.table("t");
    inserter["id"]["name"] << 1 << text;
    ASSERT_EQ(runStatement(inserter), 0u);
    BatchInserter batch;
    batch.table("t");
    batch["id"] << 2;
    batch["name"] << text;
    Database db;
    ASSERT_EQ(db->ExecBatchInserter(batch), 0u);
    ASSERT_EQ(runWrite("set client_encoding = 'LATIN1'"), 0u);
    CVORNUpdater updater;
    updater.table("t");
    updater["name"].assign(text + "!");
    updater.where(CVORNTable("t")["id"] == 1);
    ASSERT_EQ(runStatement(updater), 0u);

    EXPECT_EQ(runQuery("select id, name, encode(convert_to(name, 'UTF8'), 'hex'), length(name) "
                       "from t order by id",
                       4),
              (Rows{{"1", text + "!", hex(text + "!"), "8"}, {"2", text, hex(text), "7"}}));
}

}  // namespace
}  // namespace vorn::test

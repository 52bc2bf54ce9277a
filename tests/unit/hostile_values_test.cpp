#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

#include "vorn/criterion.h"
#include "vorn/inserter.h"
#include "vorn/selector.h"
#include "vorn/updater.h"

namespace {

const std::string kHostile = "x'); DROP TABLE alarm; --";

// Runs rendered statements on an in-memory SQLite database with sqlite3_exec,
// which runs every statement of a text: a value that escaped its literal
// would run its own statement here.
class HostileValues : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(sqlite3_open(":memory:", &m_db), SQLITE_OK);
        ASSERT_EQ(run("create table alarm (id integer, text text)"), SQLITE_OK);
        CVORNInserter first;
        first.table("alarm");
        first << 1 << kHostile;
        ASSERT_EQ(run(first.toString()), SQLITE_OK) << first.toString();
        CVORNInserter second;
        second.table("alarm");
        second << 2 << "plain";
        ASSERT_EQ(run(second.toString()), SQLITE_OK);
    }
    void TearDown() override { sqlite3_close(m_db); }

    int run(const std::string& sql) {
        return sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, nullptr);
    }

    // The ids a condition selects, in order; empty when the statement fails.
    std::vector<std::string> ids(const CVORNCriterion& condition) {
        CVORNSelector selector;
        selector.table("alarm");
        selector.select("id");
        selector.where(condition);
        selector.orderBy("id", true);
        std::vector<std::string> out;
        auto collect = [](void* sink, int, char** values, char**) {
            static_cast<std::vector<std::string>*>(sink)->emplace_back(values[0]);
            return 0;
        };
        if (sqlite3_exec(m_db, selector.toString().c_str(), collect, &out, nullptr) != SQLITE_OK) {
            out.clear();
        }
        return out;
    }

    std::vector<std::string> texts() {
        std::vector<std::string> out;
        auto collect = [](void* sink, int, char** values, char**) {
            static_cast<std::vector<std::string>*>(sink)->emplace_back(values[0]);
            return 0;
        };
        sqlite3_exec(m_db, "select text from alarm order by id", collect, &out, nullptr);
        return out;
    }

    static CVORNCriterionItem text() { return CVORNTable("alarm")["text"]; }

    sqlite3* m_db = nullptr;
};

using Ids = std::vector<std::string>;

TEST_F(HostileValues, InsertedTextComesBackUnchanged) {
    EXPECT_EQ(texts(), (Ids{kHostile, "plain"}));
}

TEST_F(HostileValues, UpdatedTextComesBackUnchanged) {
    CVORNUpdater updater;
    updater.table("alarm");
    updater["text"].assign(kHostile.c_str());
    updater.where(CVORNTable("alarm")["id"] == 2);
    ASSERT_EQ(run(updater.toString()), SQLITE_OK) << updater.toString();
    EXPECT_EQ(texts(), (Ids{kHostile, kHostile}));
}

TEST_F(HostileValues, ComparisonsTreatTheValueAsData) {
    EXPECT_EQ(ids(text() != kHostile), Ids{"2"});
    EXPECT_EQ(ids(text() <= kHostile), (Ids{"1", "2"}));
    EXPECT_EQ(ids(text() >= kHostile), Ids{"1"});
    EXPECT_EQ(ids(text() == kHostile), Ids{"1"});
    EXPECT_EQ(texts().size(), 2U);
}

// The quoting hazards that callers are warned about, pinned as they behave.
TEST_F(HostileValues, EqualityDoublesOnlyTheFirstQuote) {
    EXPECT_EQ(ids(text() == std::string("x'' OR 1=1 OR ''='")), (Ids{"1", "2"}));
}

TEST_F(HostileValues, ListsAreSqlText) {
    EXPECT_EQ(ids(CVORNTable("alarm")["id"].notIn("0) OR (1=1")), (Ids{"1", "2"}));
    EXPECT_EQ(ids(CVORNTable("alarm")["id"].in("0) OR (1=1")), (Ids{"1", "2"}));
    // in() doubles the quotes of its list, notIn() keeps them.
    EXPECT_EQ(ids(text().notIn("'x') OR ('a'='a'")), (Ids{"1", "2"}));
    EXPECT_EQ(ids(text().in("'x') OR ('a'='a'")), Ids{}) << "expected a syntax error";
}

}  // namespace

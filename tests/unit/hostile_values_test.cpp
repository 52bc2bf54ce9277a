#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

#include "vorn/criterion.h"
#include "vorn/inserter.h"
#include "vorn/selector.h"
#include "vorn/updater.h"

namespace {

using Rows = std::vector<std::string>;

const std::string kHostile = "x'); DROP TABLE alarm; --";

// Rendered statements run with sqlite3_exec, which runs every statement of a
// text: a value that escaped its literal would run its own statement here.
class HostileValues : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(sqlite3_open(":memory:", &m_db), SQLITE_OK);
        ASSERT_EQ(run("create table alarm (id integer, text text)"), SQLITE_OK);
        CVORNInserter first;
        first.table("alarm");
        first << 1 << kHostile;
        CVORNInserter second;
        second.table("alarm");
        second << 2 << "plain";
        ASSERT_EQ(run(first.toString() + ";" + second.toString()), SQLITE_OK);
    }
    void TearDown() override { sqlite3_close(m_db); }

    int run(const std::string& sql) {
        return sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, nullptr);
    }

    // The first column of every row, or nothing when the statement fails.
    Rows query(const std::string& sql) {
        Rows rows;
        auto collect = [](void* sink, int, char** values, char**) {
            static_cast<Rows*>(sink)->emplace_back(values[0]);
            return 0;
        };
        if (sqlite3_exec(m_db, sql.c_str(), collect, &rows, nullptr) != SQLITE_OK) {
            rows.clear();
        }
        return rows;
    }

    Rows ids(const CVORNCriterion& condition) {
        CVORNSelector selector;
        selector.table("alarm");
        selector.select("id");
        selector.where(condition);
        selector.orderBy("id");
        return query(selector.toString());
    }

    static CVORNCriterionItem text() { return CVORNTable("alarm")["text"]; }

    sqlite3* m_db = nullptr;
};

TEST_F(HostileValues, InsertedAndUpdatedTextComesBackUnchanged) {
    EXPECT_EQ(query("select text from alarm order by id"), (Rows{kHostile, "plain"}));
    CVORNUpdater updater;
    updater.table("alarm");
    updater["text"].assign(kHostile.c_str());
    updater.where(CVORNTable("alarm")["id"] == 2);
    ASSERT_EQ(run(updater.toString()), SQLITE_OK);
    EXPECT_EQ(query("select text from alarm order by id"), (Rows{kHostile, kHostile}));
}

TEST_F(HostileValues, ComparisonsTreatTheValueAsData) {
    EXPECT_EQ(ids(text() != kHostile), Rows{"2"});
    EXPECT_EQ(ids(text() <= kHostile), (Rows{"1", "2"}));
    EXPECT_EQ(ids(text() >= kHostile), Rows{"1"});
    EXPECT_EQ(ids(text() == kHostile), Rows{"1"});
    EXPECT_EQ(query("select count(*) from alarm"), Rows{"2"});
}

// The quoting hazards callers are warned about, pinned as they behave.
TEST_F(HostileValues, EqualityAndListsLetSqlThrough) {
    EXPECT_EQ(ids(text() == std::string("x'' OR 1=1 OR ''='")), (Rows{"1", "2"}));
    EXPECT_EQ(ids(CVORNTable("alarm")["id"].in("0) OR (1=1")), (Rows{"1", "2"}));
    EXPECT_EQ(ids(text().notIn("'x') OR ('a'='a'")), (Rows{"1", "2"}));
    EXPECT_EQ(ids(text().in("'x') OR ('a'='a'")), Rows{}) << "in() doubles the quotes";
}

}  // namespace

// Transactions span executor calls through the session name and the calling
// thread: each thread has its own.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>

#include "store_fixture.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

class TransactionTest : public StoreTest {
  protected:
    void SetUp() override {
        StoreTest::SetUp();
        ASSERT_EQ(runWrite("create table t(id integer primary key, who text)"), 0u);
        ASSERT_EQ(runWrite("insert into t values(1, 'before')"), 0u);
    }
    static std::string count() { return runQuery("select count(*) from t", 1).at(0).at(0); }
};

TEST_F(TransactionTest, CommittedWritesStay) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    ASSERT_EQ(db->beginTransaction(), 0u);
    EXPECT_EQ(runWrite("insert into t values(2, 'a')"), 0u);
    EXPECT_EQ(runWrite("insert into t values(3, 'b')"), 0u);
    ASSERT_EQ(db->commitTransaction(), 0u);
    EXPECT_EQ(count(), "3");
}

TEST_F(TransactionTest, RolledBackWritesAreGoneAndEarlierRowsStay) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    ASSERT_EQ(db->beginTransaction(), 0u);
    EXPECT_EQ(runWrite("insert into t values(2, 'a')"), 0u);
    EXPECT_EQ(runWrite("update t set who = 'changed' where id = 1"), 0u);
    EXPECT_EQ(count(), "2");  // the same thread sees its own uncommitted rows
    ASSERT_EQ(db->rollbackTransaction(), 0u);
    EXPECT_EQ(runQuery("select id, who from t", 2), (Rows{{"1", "before"}}));
}

TEST_F(TransactionTest, CommitWithoutBeginIsPassedToTheStore) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    // SQLite refuses both; PostgreSQL only warns.
    EXPECT_EQ(db->commitTransaction() != 0, !onPostgres());
    EXPECT_EQ(db->rollbackTransaction() != 0, !onPostgres());
    EXPECT_EQ(count(), "1");
}

TEST_F(TransactionTest, AnotherThreadNeitherSeesNorEndsThisThreadsTransaction) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    ASSERT_EQ(db->beginTransaction(), 0u);
    ASSERT_EQ(runWrite("insert into t values(2, 'main')"), 0u);

    std::thread other([] {
        CVORN* otherDb = nullptr;
        GuardDB otherGuard("TaskDB", otherDb, false);
        // Not begun on this thread, so there is nothing to roll back here.
        otherDb->rollbackTransaction();
        EXPECT_EQ(count(), "1");
    });
    other.join();

    ASSERT_EQ(db->commitTransaction(), 0u);
    EXPECT_EQ(count(), "2");
}

TEST_F(TransactionTest, AWriterOnAnotherThreadWaitsForTheTransactionToEnd) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    ASSERT_EQ(db->beginTransaction(), 0u);
    ASSERT_EQ(runWrite("insert into t values(2, 'main')"), 0u);

    auto otherWrite =
        std::async(std::launch::async, [] { return runWrite("insert into t values(3, 'other')"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ASSERT_EQ(db->rollbackTransaction(), 0u);

    EXPECT_EQ(otherWrite.get(), 0u);
    EXPECT_EQ(runQuery("select id, who from t order by id", 2),
              (Rows{{"1", "before"}, {"3", "other"}}));
}

}  // namespace
}  // namespace vorn::test

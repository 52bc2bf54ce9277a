// PostgreSQL behind pgbouncer in transaction pooling mode (scripts/pg-cluster
// starts one with 4 server connections), the session bound with
// vorn_pool_mode=transaction: more threads than server connections read
// while they write, outside and inside their transactions, and every read
// gets exactly its rows. Needs VORN_TEST_PGBOUNCER_URL.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "store_fixture.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

constexpr int kThreads = 6;
constexpr long kRows = 3000;  // more than a first fetch

class PgPoolerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const std::string url = environment("VORN_TEST_PGBOUNCER_URL");
        if (url.empty()) {
            GTEST_SKIP() << "no pgbouncer: source what \"scripts/pg-cluster start\" prints";
        }
        ASSERT_EQ(bindDataSource("default", withOptions(url, "vorn_pool_mode=transaction")), 0u);
        ASSERT_EQ(runWrite("drop table if exists pooled"), 0u);
        ASSERT_EQ(runWrite("create table pooled(thread int, id int8)"), 0u);
    }
    void TearDown() override {
        runWrite("drop table if exists pooled");
        unbindDataSource("default");
        closeConnections();
    }
};

// Reads kRows numbers, writing a row of its own halfway; returns the sum read
// (or -1 when a call failed).
long readWhileWriting(CVORN* db, int thread) {
    BoundStatement numbers("select g from generate_series(1, {rows}) g");
    BoundStatement insert("insert into pooled values({thread}, {id})");
    CVORNReader reader;
    if (db->execReadSQL(numbers.bind("rows", kRows), reader) != 0) {
        return -1;
    }
    long sum = 0;
    for (long i = 0; reader.hasNextElement(); ++i) {
        long value = 0;
        reader >> value;
        sum += value;
        if (i == kRows / 2 && db->execWriteSQL(insert.bind("thread", thread).bind("id", i)) != 0) {
            return -1;
        }
    }
    return sum;
}

TEST_F(PgPoolerTest, MoreThreadsThanServerConnectionsReadWhileTheyWrite) {
    constexpr int kRounds = 10;
    std::vector<std::vector<long>> sums(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &sums] {
            Database db;
            for (int round = 0; round < kRounds; ++round) {
                sums[t].push_back(readWhileWriting(db.db, t));  // outside a transaction
                const bool begun = db->beginTransaction() == 0;
                sums[t].push_back(begun ? readWhileWriting(db.db, t) : -2);
                sums[t].push_back(begun && db->commitTransaction() == 0 ? 0 : -3);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const long expected = kRows * (kRows + 1) / 2;
    for (int t = 0; t < kThreads; ++t) {
        SCOPED_TRACE("thread " + std::to_string(t));
        std::vector<long> want;
        for (int round = 0; round < kRounds; ++round) {
            want.insert(want.end(), {expected, expected, 0});
        }
        EXPECT_EQ(sums[t], want);
    }
    EXPECT_EQ(runQuery("select count(*) from pooled", 1),
              (Rows{{std::to_string(kThreads * kRounds * 2)}}));
}

}  // namespace
}  // namespace vorn::test

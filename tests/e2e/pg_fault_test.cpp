// PostgreSQL only: the server stopped at once, as a crash would stop it, in
// the middle of a batch and of a transaction. The call that meets the loss
// fails with the code of a lost connection, nothing of the unfinished work is
// there after the restart, everything committed before is, and the next call
// works again. VORN_TEST_PG_RESTART names the command that restarts the
// server ("scripts/pg-server restart <dir>"); these tests run it with the
// argument "immediate".
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>

#include "store_fixture.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

bool isConnectionLoss(unsigned long code) {
    const std::string sqlstate = platform::sqlstateFromCode(code);
    return sqlstate.rfind("08", 0) == 0 || sqlstate == "57P01";
}

std::string countAndHighest(const std::string& table) {
    const Rows rows = runQuery("select count(*), coalesce(max(id), 0) from " + table, 2);
    return rows.size() == 1 ? rows[0][0] + "/" + rows[0][1] : "no row";
}

class PgFaultTest : public PgSchemaTest {
  protected:
    void SetUp() override {
        PgSchemaTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        if (restartCommand().empty()) {
            GTEST_SKIP() << kNoRestart;
        }
        m_crash = restartCommand() + " immediate";
        // The test server commits without waiting for the log (synchronous_commit
        // off), so a crash could take the last commits; here a commit is durable
        // once it returns, as on a production server.
        ASSERT_EQ(bindDataSource("default", postgresUrlForSchema(m_schema) +
                                                "%20-c%20synchronous_commit%3Don"),
                  0u);
    }

    bool crash() const { return std::system(m_crash.c_str()) == 0; }

    std::string m_crash;
};

BatchInserter rowsOf(long first, long last) {
    BatchInserter batch;
    batch.table("big");
    for (long id = first; id <= last; ++id) {
        batch["id"] << id;
        batch["name"] << "row " + std::to_string(id);
    }
    return batch;
}

TEST_F(PgFaultTest, AServerStoppedInTheMiddleOfABatchKeepsNoRowOfIt) {
    ASSERT_EQ(runWrite("create table big(id bigint primary key, name text)"), 0u);
    BatchInserter committed = rowsOf(1, 1000);
    ASSERT_EQ(Database()->ExecBatchInserter(committed), 0u);
    // Row 51000 waits for a lock the stopping thread holds, so the server
    // stops while the batch has written 50,000 rows and has more to come.
    ASSERT_EQ(runWrite("create function gate() returns trigger language plpgsql as $$ begin "
                       "if new.id = 51000 then perform pg_advisory_xact_lock(4711); end if; "
                       "return new; end $$"),
              0u);
    ASSERT_EQ(runWrite("create trigger gate before insert on big for each row execute "
                       "function gate()"),
              0u);

    std::promise<void> locked;
    bool waited = false;
    bool stopped = false;
    std::thread stopper([&] {
        runQuery("select pg_advisory_lock(4711)", 1);
        locked.set_value();
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!waited && std::chrono::steady_clock::now() < deadline) {
            waited = runQuery(
                         "select count(*) from pg_stat_activity where wait_event_type = "
                         "'Lock' and wait_event = 'advisory'",
                         1) == Rows{{"1"}};
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        stopped = waited && crash();
    });
    locked.get_future().wait();
    BatchInserter large = rowsOf(1001, 100000);
    const unsigned long code = Database()->ExecBatchInserter(large);
    stopper.join();
    ASSERT_TRUE(waited) << "the batch never reached the row that waits";
    ASSERT_TRUE(stopped) << m_crash;

    EXPECT_TRUE(isConnectionLoss(code)) << std::hex << code;
    EXPECT_EQ(countAndHighest("big"), "1000/1000");
    // The same batch again, on a new connection; the lock is gone with the
    // connection that held it.
    EXPECT_EQ(Database()->ExecBatchInserter(large), 0u);
    EXPECT_EQ(countAndHighest("big"), "100000/100000");
}

TEST_F(PgFaultTest, AServerStoppedInTheMiddleOfATransactionKeepsNoRowOfIt) {
    ASSERT_EQ(runWrite("create table big(id bigint primary key, name text)"), 0u);
    for (int id = 1; id <= 3; ++id) {
        ASSERT_EQ(runWrite("insert into big values (" + std::to_string(id) + ", 'kept')"), 0u);
    }
    Database db;
    ASSERT_EQ(db->beginTransaction(), 0u);
    ASSERT_EQ(runWrite("insert into big values (10, 'open')"), 0u);
    BatchInserter inTransaction = rowsOf(11, 20);
    ASSERT_EQ(Database()->ExecBatchInserter(inTransaction), 0u);
    ASSERT_TRUE(crash()) << m_crash;

    const unsigned long code = db->commitTransaction();
    EXPECT_TRUE(isConnectionLoss(code)) << std::hex << code;
    EXPECT_EQ(runQuery("select id, name from big order by id", 2),
              (Rows{{"1", "kept"}, {"2", "kept"}, {"3", "kept"}}));
    EXPECT_EQ(runWrite("insert into big values (4, 'after')"), 0u);
    EXPECT_EQ(countAndHighest("big"), "4/4");
}

}  // namespace
}  // namespace vorn::test

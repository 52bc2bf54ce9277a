// The connection budget of a data source (vorn_max_connections) on every
// store: threads share it over session names, idle connections go to the
// threads that wait, and a wait ends with Busy at the deadline or a cancel.
// On PostgreSQL also what the server sees and does: never more connections
// than the budget, and connections it ends while they are idle, which the
// next call replaces, and a rollback or commit on them answers at once.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "store_fixture.h"
#include "vorn/vorn.h"
#include "worker.h"

namespace vorn::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

const char* const kOther = "budget_other";  // a second session name on the same store

unsigned long writeOn(const char* session, const std::string& sql) {
    platform::DataSession db(session);
    return db.execute("test:budget:0", platform::SqlKind::Write, sql, platform::NoParameters{})
        .errorCode();
}

class ConnectionBudgetTest : public StoreTest {
  protected:
    void prepare() override {
        if (onPostgres() && !poolerUrl().empty()) {
            GTEST_SKIP() << "counts the server's connections, which a pooler keeps its own";
        }
        // On PostgreSQL the test's connections are told apart by their name.
        m_url = onPostgres() ? withOptions(m_stores.at("default").url,
                                           "application_name=" + m_schemas.at("default"))
                             : "sqlite:" + m_dir.file("default.db");
    }
    void TearDown() override {
        unbindDataSource("default");
        unbindDataSource(kOther);
        StoreTest::TearDown();
    }

    // Binds "default" and kOther to the store, with a budget of budget
    // connections (0: none).
    void bind(int budget) {
        const std::string url =
            budget > 0 ? withOptions(m_url, "vorn_max_connections=" + std::to_string(budget))
                       : m_url;
        ASSERT_EQ(bindDataSource("default", url), 0u);
        ASSERT_EQ(bindDataSource(kOther, url), 0u);
    }

    // The server's connections of this test; with settled, once they number
    // that (the server sees ended ones go a little later), or after 10 s.
    long serverConnections(long settled = -1) const {
        const Clock::time_point end = Clock::now() + 10s;
        for (;;) {
            const long count =
                countOn("vorn_test_admin", postgresUrl(),
                        "select count(*) from pg_stat_activity where application_name = '" +
                            m_schemas.at("default") + "'");
            if (settled < 0 || count == settled || Clock::now() > end) {
                return count;
            }
            std::this_thread::sleep_for(10ms);
        }
    }
    // Ends them on the server, as an administrator or a restart would, and
    // waits until they are gone.
    void endServerConnections() const {
        ASSERT_TRUE(adminExecute(
            "select pg_terminate_backend(pid) from pg_stat_activity where application_name = '" +
            m_schemas.at("default") + "'"));
        ASSERT_EQ(serverConnections(0), 0);
    }

    std::string m_url;
};

TEST_F(ConnectionBudgetTest, ThirtyTwoThreadsOnTwoSessionNamesStayWithinABudgetOfFour) {
    bind(4);
    ASSERT_EQ(runWrite("create table t(id integer primary key)"), 0u);
    constexpr int kThreads = 32;
    constexpr int kRows = 10;
    std::atomic<bool> done{false};
    long most = 0;
    std::thread watcher([&] {
        while (onPostgres() && !done) {
            most = std::max(most, serverConnections());
            std::this_thread::sleep_for(2ms);
        }
    });
    std::atomic<int> failed{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            const CallDeadline deadline(60s);  // the waits for a connection too
            for (int row = 0; row < kRows; ++row) {
                const std::string id = std::to_string(t * kRows + row);
                failed += writeOn(row % 2 == 0 ? "default" : kOther,
                                  "insert into t values (" + id + ")") != 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    done = true;
    watcher.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(runQuery("select count(distinct id) from t", 1),
              Rows{{std::to_string(kThreads * kRows)}});
    if (onPostgres()) {
        EXPECT_GE(most, 1);
        EXPECT_LE(most, 4);
        // The threads' connections closed as they ended; this thread's own
        // closes when asked.
        EXPECT_EQ(serverConnections(1), 1);
        EXPECT_GE(closeConnections(), 1u);
        EXPECT_EQ(serverConnections(0), 0);
    }
}

// A connection idle on another thread goes to the thread that needs one; a
// transaction keeps its own, and a wait for it ends with Busy at the deadline
// or at a cancel, having run nothing.
TEST_F(ConnectionBudgetTest, IdleConnectionsAreLentAndAWaitEndsWithBusy) {
    bind(1);
    ASSERT_EQ(runWrite("create table t(id integer primary key)"), 0u);
    Worker holder;
    ASSERT_EQ(holder.run([] { return runWrite("insert into t values (1)"); }), 0u);
    EXPECT_EQ(writeOn(kOther, "insert into t values (2)"), 0u);  // the holder's, taken over
    ASSERT_EQ(holder.run([] { return Database()->beginTransaction(); }), 0u);
    ASSERT_EQ(holder.run([] { return runWrite("insert into t values (3)"); }), 0u);

    for (const bool cancel : {false, true}) {
        SCOPED_TRACE(cancel ? "cancelled" : "deadline");
        std::thread canceller([cancel] {
            if (cancel) {
                std::this_thread::sleep_for(300ms);
                cancelCalls();
            }
        });
        const Clock::time_point start = Clock::now();
        unsigned long code = 0;
        {
            const CallDeadline deadline(cancel ? 60s : 300ms);
            code = runWrite("insert into t values (4)");
        }
        const Clock::duration took = Clock::now() - start;
        canceller.join();
        EXPECT_EQ(code, platform::errc::kTooManyConnections);
        EXPECT_GE(took, 250ms);
        EXPECT_LT(took, 1300ms);
        const ErrorInfo last = lastError();
        EXPECT_EQ(last.category, ErrorCategory::Busy);
        EXPECT_EQ(last.sqlstate, "53300");
        EXPECT_NE(last.message.find("vorn_max_connections"), std::string::npos) << last.message;
    }
    ASSERT_EQ(holder.run([] { return Database()->commitTransaction(); }), 0u);
    EXPECT_EQ(runWrite("insert into t values (5)"), 0u);
    EXPECT_EQ(runQuery("select id from t order by id", 1), (Rows{{"1"}, {"2"}, {"3"}, {"5"}}));
}

// A connection the server ended while idle is replaced before the next call.
// In a transaction nothing is left to end on it: a rollback succeeds and a
// commit fails as a lost connection, both at once and without connecting.
TEST_F(ConnectionBudgetTest, AConnectionTheServerEndedIsReplacedOrAnsweredWithoutConnecting) {
    if (!onPostgres()) {
        GTEST_SKIP() << "an SQLite connection has no server to end it";
    }
    bind(1);  // the lost connection's place goes to its replacement
    ASSERT_EQ(runWrite("create table t(id integer primary key)"), 0u);
    const struct {
        const char* name;
        int end;    // 0: a write after the loss; 1: a rollback; 2: a commit
        bool idle;  // found lost before the call, or met by it
    } ends[] = {
        {"write", 0, true}, {"rollback", 1, true}, {"rollback met", 1, false}, {"commit", 2, true}};
    for (const auto& end : ends) {
        SCOPED_TRACE(end.name);
        Database db;
        ASSERT_EQ(end.end == 0 ? 0u : db->beginTransaction(), 0u);
        ASSERT_EQ(runWrite(end.end == 0 ? "insert into t values (1)" : "insert into t values (3)"),
                  0u);
        endServerConnections();
        if (end.idle) {
            std::this_thread::sleep_for(1100ms);  // idle long enough to be looked at
        }
        if (end.end == 0) {
            EXPECT_EQ(runWrite("insert into t values (2)"), 0u);
            EXPECT_EQ(serverConnections(), 1);
            continue;
        }
        const unsigned long code =
            end.end == 2 ? db->commitTransaction() : db->rollbackTransaction();
        if (end.end == 2) {
            EXPECT_EQ(lastError().category, ErrorCategory::ConnectionLost);
            EXPECT_EQ(platform::sqlstateFromCode(code), "08006");
        } else {
            EXPECT_EQ(code, 0u);
        }
        EXPECT_EQ(serverConnections(), 0);
    }
    EXPECT_EQ(runQuery("select id from t order by id", 1), (Rows{{"1"}, {"2"}}));
}

}  // namespace
}  // namespace vorn::test

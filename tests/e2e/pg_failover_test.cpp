// PostgreSQL with a synchronous streaming standby (scripts/pg-cluster): a
// session bound to the standby reads while the primary takes writes, then the
// primary is stopped at once, as a crash would stop it, and the standby is
// promoted while threads write through a multi-host URL. The test needs the
// cluster's variables (VORN_TEST_PG_CLUSTER_DIR and the URLs scripts/pg-cluster
// prints) and VORN_TEST_PG_CLUSTER, the script; it ends the primary.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "store_fixture.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class PgClusterTest : public ::testing::Test {
  protected:
    void SetUp() override {
        m_script = environment("VORN_TEST_PG_CLUSTER");
        m_dir = environment("VORN_TEST_PG_CLUSTER_DIR");
        m_failoverUrl = environment("VORN_TEST_PG_FAILOVER_URL");
        if (m_script.empty() || m_dir.empty() || m_failoverUrl.empty()) {
            GTEST_SKIP() << "no primary with a standby: set VORN_TEST_PG_CLUSTER to "
                            "scripts/pg-cluster and source what \"scripts/pg-cluster start\" "
                            "prints";
        }
        // Writes go to whichever server takes them. The connect timeout
        // bounds the wait for a new primary: well above what a promotion
        // takes on a loaded machine.
        m_failoverUrl = withOptions(m_failoverUrl, "connect_timeout=30");
        ASSERT_EQ(bindDataSource("default", m_failoverUrl), 0u);
    }
    void TearDown() override {
        unbindDataSource("default");
        unbindDataSource("NeUpgradeDB");
        closeConnections();
    }

    void cluster(const std::string& command) const {
        const std::string line = m_script + " " + command + " " + m_dir;
        ASSERT_EQ(std::system(line.c_str()), 0) << line;
    }

    void writeThroughAPromotion();

    std::string m_script;
    std::string m_dir;
    std::string m_failoverUrl;
};

// Polls ready() every 20 ms until it holds or timeout has passed.
template <typename Ready>
bool waitUntil(Clock::duration timeout, Ready&& ready) {
    const Clock::time_point until = Clock::now() + timeout;
    while (!ready()) {
        if (Clock::now() >= until) {
            return false;
        }
        std::this_thread::sleep_for(20ms);
    }
    return true;
}

// The backup processes' pattern: their session ("NeBackupDB", here the
// upgrade session of the same rule) is bound to the standby and reads there,
// while the primary takes the writes; a write on it is refused by the server.
void readOnTheStandby(const std::string& failoverUrl) {
    std::string standbyUrl = failoverUrl;
    standbyUrl.replace(standbyUrl.find("read-write"), 10, "standby");
    ASSERT_EQ(bindDataSource("NeUpgradeDB", standbyUrl), 0u);
    ASSERT_EQ(runWrite("drop table if exists routed"), 0u);
    ASSERT_EQ(runWrite("create table routed(id int8 primary key)"), 0u);
    // A commit returns once the standby has it; it shows there once replayed.
    const bool replayed = waitUntil(5s, [] {
        return runQuery("select to_regclass('routed') is not null", 1, true) == Rows{{"true"}};
    });
    ASSERT_TRUE(replayed) << "the standby did not replay the new table within 5 s";

    std::atomic<bool> writing{true};
    std::atomic<int> written{0};
    std::thread writer([&] {
        BoundStatement insert("insert into routed values({id})");
        for (long id = 1; writing.load(); ++id) {
            if (runStatement(insert.bind("id", id)) == 0) {
                written.store(static_cast<int>(id));
            }
        }
    });
    Database db(true);  // the process's own session: NeUpgradeDB
    long seen = 0;
    int reads = 0;
    const Clock::time_point until = Clock::now() + 1500ms;
    while (Clock::now() < until) {
        CVORNReader reader;
        if (db->execReadSQL(sqlText("select count(*), pg_is_in_recovery()::int from routed"),
                            reader) != 0) {
            ADD_FAILURE() << "a read on the standby failed: " << lastError().message;
            break;  // the writer is still to be joined
        }
        long rows = 0;
        int standby = 0;
        reader >> rows >> standby;
        EXPECT_EQ(standby, 1) << "read on the primary";
        EXPECT_GE(rows, seen);  // the standby replays in order
        seen = rows;
        ++reads;
    }
    writing.store(false);
    writer.join();
    EXPECT_GT(written.load(), 0);
    EXPECT_GT(seen, 0) << "the standby saw none of " << written.load() << " rows in " << reads
                       << " reads";

    const unsigned long refused = db->execWriteSQL(sqlText("insert into routed values(0)"));
    EXPECT_EQ(platform::sqlstateFromCode(refused), "25006");
    EXPECT_EQ(lastError().category, ErrorCategory::Permission);
}

// One call of a writing thread.
struct Call {
    long seq = 0;
    unsigned long code = 0;
    Clock::time_point start;
    Clock::time_point end;
};

// Writes rows (thread, 1), (thread, 2), ... until told to stop.
std::vector<Call> writeUntil(int thread, const std::atomic<bool>& stop) {
    std::vector<Call> calls;
    BoundStatement insert("insert into failover(thread, seq) values({thread}, {seq})");
    insert.bind("thread", thread);
    for (long seq = 1; !stop.load(); ++seq) {
        Call call;
        call.seq = seq;
        call.start = Clock::now();
        call.code = runStatement(insert.bind("seq", seq));
        call.end = Clock::now();
        calls.push_back(call);
        std::this_thread::sleep_for(2ms);
    }
    return calls;
}

// Threads write through the multi-host URL while the primary stops at once
// and the standby is promoted: no committed row is lost, each thread sees at
// most the one call that was in flight fail, and writes again within a second
// of the promotion; no call hangs.
void PgClusterTest::writeThroughAPromotion() {
    constexpr int kThreads = 4;
    ASSERT_EQ(runWrite("drop table if exists failover"), 0u);
    ASSERT_EQ(runWrite("create table failover(thread int, seq int8, primary key(thread, seq))"),
              0u);
    std::atomic<bool> stop{false};
    std::vector<std::vector<Call>> calls(kThreads);
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
        writers.emplace_back([t, &stop, &calls] { calls[t] = writeUntil(t, stop); });
    }
    std::this_thread::sleep_for(500ms);
    cluster("stop-primary");
    cluster("promote");
    const Clock::time_point promoted = Clock::now();
    std::this_thread::sleep_for(1500ms);
    stop.store(true);
    for (std::thread& writer : writers) {
        writer.join();
    }

    std::set<std::pair<int, long>> stored;
    for (const std::vector<std::string>& row : runQuery("select thread, seq from failover", 2)) {
        stored.emplace(std::stoi(row[0]), std::stol(row[1]));
    }
    for (int t = 0; t < kThreads; ++t) {
        SCOPED_TRACE("thread " + std::to_string(t));
        int failed = 0;
        Clock::duration longest{};
        Clock::time_point againAt = Clock::time_point::max();
        for (const Call& call : calls[t]) {
            longest = std::max(longest, call.end - call.start);
            if (call.code != 0) {
                ++failed;
                continue;
            }
            EXPECT_EQ(stored.count({t, call.seq}), 1u) << "committed row " << call.seq << " lost";
            if (call.end > promoted && call.end < againAt) {
                againAt = call.end;
            }
        }
        EXPECT_LE(failed, 1) << "only the call in flight may fail";
        EXPECT_LT(againAt - promoted, 1s) << "no write within a second of the promotion";
        EXPECT_LT(longest, 35s) << "a call hung";
        const auto ms = [](Clock::duration d) {
            return std::chrono::duration_cast<std::chrono::milliseconds>(d).count();
        };
        std::printf(
            "thread %d: %zu calls, %d failed, longest %lld ms, first write %lld ms after "
            "the promotion\n",
            t, calls[t].size(), failed, static_cast<long long>(ms(longest)),
            static_cast<long long>(ms(againAt - promoted)));
    }
}

// In this order: the promotion ends the standby.
TEST_F(PgClusterTest, AStandbyServesReadsThenTakesOverWithoutLosingACommittedRow) {
    {
        SCOPED_TRACE("reads on the standby");
        readOnTheStandby(m_failoverUrl);
    }
    SCOPED_TRACE("failover");
    writeThroughAPromotion();
}

}  // namespace
}  // namespace vorn::test

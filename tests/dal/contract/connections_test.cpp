// Closing connections: the calling thread's, every thread's and idle ones,
// never under an open reader or transaction. A TEMP table lives as long as its
// connection, so whether it is still there tells whether the connection was.
#include "vorn/connections.h"

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "dal_fixture.h"
#include "worker.h"

namespace vorn::test {
namespace {

using namespace std::chrono_literals;

class ConnectionsTest : public DalTest {
  protected:
    void TearDown() override {
        setConnectionIdleTimeout(kDefaultIdle);
        DalTest::TearDown();
    }

    // Inserts rows id and id + 1 in one transaction while a reader is open;
    // the first failure.
    ExecResult twoRowsUnderAnOpenReader(int id) const {
        DataSession reader(m_session.c_str());
        ExecResult status =
            reader.execute("r", SqlKind::Read, "select count(*) from t", NoParameters{});
        if (status.ok()) {
            status = DataSession(m_session.c_str()).beginTransaction();
        }
        for (const int row : {id, id + 1}) {
            if (status.ok()) {
                status = run(m_session, "insert into t values(" + std::to_string(row) + ", 'r')");
            }
        }
        return status.ok() ? DataSession(m_session.c_str()).commit() : status;
    }

    const std::chrono::milliseconds kDefaultIdle = connectionIdleTimeout();
};

TEST_F(ConnectionsTest, TheThreadsConnectionsCloseButNotUnderAReaderOrATransaction) {
    seed();
    markConnection();
    EXPECT_GE(closeConnections(), 1U);  // with the set-up's on PostgreSQL
    EXPECT_FALSE(sameConnection());

    // A reader keeps its connection: it reads to the end, the thread's next
    // call gets a new one.
    markConnection();
    DataSession reader(m_session.c_str());
    open(reader, "select name from t order by id");
    EXPECT_EQ(closeConnections(), 0U);
    EXPECT_FALSE(sameConnection());
    EXPECT_EQ(fetchAll(reader), (Rows{{"one"}, {"two"}}));

    // A transaction keeps its connection to the end: nothing of it is lost.
    markConnection();
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(run(m_session, "insert into t values(3, 'three')").ok());
    EXPECT_EQ(closeConnections(), 0U);
    EXPECT_TRUE(sameConnection());
    ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
    EXPECT_FALSE(sameConnection());  // closed at the first call after the commit
    EXPECT_EQ(queryElsewhere(m_session, "select count(*) from t"), (Rows{{"3"}}));
}

TEST_F(ConnectionsTest, EveryThreadsConnectionsCloseFromAnyThread) {
    seed();
    Worker idle;
    Worker inTransaction;
    const auto kept = [this] { return sameConnection(); };
    idle.run([&] { markConnection(); });
    inTransaction.run([&] {
        markConnection();
        ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
        ASSERT_TRUE(run(m_session, "insert into t values(3, 'three')").ok());
    });
    EXPECT_GE(closeAllConnections(), 1U);
    EXPECT_FALSE(idle.run(kept));
    EXPECT_TRUE(inTransaction.run(kept));
    EXPECT_TRUE(inTransaction.run([&] { return DataSession(m_session.c_str()).commit().ok(); }));
    EXPECT_FALSE(inTransaction.run(kept));
    EXPECT_EQ(query(m_session, "select count(*) from t"), (Rows{{"3"}}));
}

TEST_F(ConnectionsTest, IdleConnectionsCloseAfterTheIdleTime) {
    Worker parked;
    const auto kept = [this] { return sameConnection(); };
    setConnectionIdleTimeout(0ms);  // never
    parked.run([&] { markConnection(); });
    EXPECT_EQ(closeIdleConnections(), 0U);

    setConnectionIdleTimeout(20ms);
    std::this_thread::sleep_for(60ms);
    // Any thread's call closes the idle connections of the others.
    EXPECT_TRUE(run(m_session, "select 1").ok());
    EXPECT_FALSE(parked.run(kept));

    parked.run([&] { markConnection(); });
    std::this_thread::sleep_for(60ms);
    EXPECT_GE(closeIdleConnections(), 1U);
    EXPECT_FALSE(parked.run(kept));
}

TEST_F(ConnectionsTest, ClosingFromOtherThreadsNeverCutsIntoACall) {
    ASSERT_TRUE(run(m_session, "create table t(id integer primary key, name text)").ok());
    constexpr int kThreads = 3;
    constexpr int kUnits = 40;
    setConnectionIdleTimeout(1ms);
    std::atomic<bool> done{false};
    std::atomic<int> failed{0};
    std::thread closer([&] {
        while (!done) {
            closeAllConnections();
            closeIdleConnections();
            std::this_thread::yield();
        }
    });
    std::vector<std::thread> writers;
    for (int w = 0; w < kThreads; ++w) {
        writers.emplace_back([&, w] {
            for (int unit = 0; unit < kUnits; ++unit) {
                const ExecResult status = twoRowsUnderAnOpenReader((w * kUnits + unit) * 2);
                if (!status.ok() && failed++ == 0) {
                    ADD_FAILURE() << status.errorCode() << ": " << detailOf(status);
                }
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    done = true;
    closer.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(query(m_session, "select count(*) from t"),
              (Rows{{std::to_string(2 * kThreads * kUnits)}}));
}

}  // namespace
}  // namespace vorn::test

#include <thread>
#include <vector>

#include "dal_fixture.h"

namespace vorn::test {
namespace {

class TransactionTest : public DalTest {
  protected:
    void SetUp() override {
        DalTest::SetUp();
        ASSERT_TRUE(run(m_session, "create table t(v text)").ok());
    }
    Rows values() const { return query(m_session, "select v from t order by v"); }
};

TEST_F(TransactionTest, BelongsToTheNameAndThreadNotTheSessionObject) {
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(run(m_session, "insert into t values('a')").ok());
    ASSERT_TRUE(run(m_session, "insert into t values('b')").ok());
    EXPECT_EQ(values(), (Rows{{"a"}, {"b"}}));  // visible inside the transaction
    ASSERT_TRUE(DataSession(m_session.c_str()).rollback().ok());
    EXPECT_TRUE(values().empty());

    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(run(m_session, "insert into t values('c')").ok());
    ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
    EXPECT_EQ(values(), (Rows{{"c"}}));
}

TEST_F(TransactionTest, CommitOrRollbackWithoutBeginReturnStoreError) {
    DataSession s(m_session.c_str());
    const ExecResult commit = s.commit();
    EXPECT_EQ(commit.errorCode(), 1U);
    EXPECT_EQ(detailOf(commit), "cannot commit - no transaction is active");
    const ExecResult rollback = s.rollback();
    EXPECT_EQ(rollback.errorCode(), 1U);
    EXPECT_EQ(detailOf(rollback), "cannot rollback - no transaction is active");
    ASSERT_TRUE(s.beginTransaction().ok());
    EXPECT_EQ(s.beginTransaction().errorCode(), 1U);  // no nesting
    ASSERT_TRUE(s.rollback().ok());
}

// Another thread has its own transaction state on the same name: it does not
// see the open transaction, cannot end it, and its own writes survive the
// rollback (they wait for the write lock, then go ahead).
TEST_F(TransactionTest, OtherThreadsAreNotAffected) {
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(run(m_session, "insert into t values('mine')").ok());
    Rows seen;
    ExecResult otherRollback;
    ExecResult otherWrite;
    ExecResult otherCommitted;
    std::thread other([&] {
        seen = values();
        otherRollback = DataSession(m_session.c_str()).rollback();
        otherWrite = run(m_session, "insert into t values('theirs')");
        DataSession(m_session.c_str()).beginTransaction();
        run(m_session, "insert into t values('theirs, undone')");
        DataSession(m_session.c_str()).rollback();
        otherCommitted = run(m_session, "insert into t values('theirs, again')");
    });
    ASSERT_TRUE(run(m_session, "insert into t values('mine, too')").ok());
    ASSERT_TRUE(DataSession(m_session.c_str()).rollback().ok());
    other.join();
    EXPECT_TRUE(seen.empty());
    EXPECT_EQ(otherRollback.errorCode(), 1U);  // no transaction on that thread
    EXPECT_TRUE(otherWrite.ok()) << detailOf(otherWrite);
    EXPECT_TRUE(otherCommitted.ok()) << detailOf(otherCommitted);
    EXPECT_EQ(values(), (Rows{{"theirs"}, {"theirs, again"}}));
}

TEST_F(TransactionTest, ConcurrentWritersOnOneFileAllSucceed) {
    constexpr int kThreads = 4;
    constexpr int kRows = 50;
    std::vector<int> failures(kThreads, 0);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int n = 0; n < kThreads; ++n) {
        threads.emplace_back([&, n] {
            for (int r = 0; r < kRows; ++r) {
                const bool inTransaction = r % 10 == 0;
                if (inTransaction && !DataSession(m_session.c_str()).beginTransaction().ok()) {
                    ++failures[n];
                }
                if (!run(m_session, "insert into t values('" + std::to_string(n) + "')").ok()) {
                    ++failures[n];
                }
                if (inTransaction && !DataSession(m_session.c_str()).commit().ok()) {
                    ++failures[n];
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, std::vector<int>(kThreads, 0));
    EXPECT_EQ(query(m_session, "select count(*) from t"),
              (Rows{{std::to_string(kThreads * kRows)}}));
}

}  // namespace
}  // namespace vorn::test

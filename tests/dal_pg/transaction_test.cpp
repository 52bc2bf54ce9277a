// Transaction state per session name and thread.
#include <thread>

#include "pg_fixture.h"

namespace vorn::test {
namespace {

class PgTransaction : public PgTest {
  protected:
    void SetUp() override {
        PgTest::SetUp();
        if (!IsSkipped()) {
            m_t = freshTable("", "v text primary key");
        }
    }
    Rows values() const { return all(m_t); }
    ExecResult insert(const std::string& value) const {
        return run(m_session, "insert into " + m_t + " values ('" + value + "')");
    }

    std::string m_t;
};

TEST_F(PgTransaction, BelongsToTheNameAndThreadNotTheSessionObject) {
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(insert("a").ok());
    ASSERT_TRUE(insert("b").ok());
    EXPECT_EQ(values(), (Rows{{"a"}, {"b"}}));  // visible inside the transaction
    ASSERT_TRUE(DataSession(m_session.c_str()).rollback().ok());
    EXPECT_TRUE(values().empty());

    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(insert("c").ok());
    ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
    EXPECT_EQ(values(), (Rows{{"c"}}));
}

// Misplaced transaction calls go to the server, which lets them pass with a
// warning, and change nothing.
TEST_F(PgTransaction, MisplacedCallsGetTheServersAnswer) {
    DataSession s(m_session.c_str());
    EXPECT_TRUE(s.commit().ok());
    EXPECT_TRUE(s.rollback().ok());
    ASSERT_TRUE(s.beginTransaction().ok());
    ASSERT_TRUE(insert("a").ok());
    EXPECT_TRUE(s.beginTransaction().ok());  // no nesting: still the same transaction
    ASSERT_TRUE(s.rollback().ok());
    EXPECT_TRUE(values().empty());
}

// Another thread has its own connection and transaction state on the name.
TEST_F(PgTransaction, OtherThreadsAreNotAffected) {
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(insert("mine").ok());
    Rows seen;
    ExecResult otherRollback;
    ExecResult otherWrite;
    std::thread other([&] {
        seen = values();
        otherRollback = DataSession(m_session.c_str()).rollback();
        otherWrite = insert("theirs");
    });
    other.join();
    EXPECT_TRUE(seen.empty());
    EXPECT_TRUE(otherRollback.ok());  // nothing to roll back there
    EXPECT_TRUE(otherWrite.ok()) << detailOf(otherWrite);
    ASSERT_TRUE(DataSession(m_session.c_str()).rollback().ok());
    EXPECT_EQ(values(), (Rows{{"theirs"}}));
}

// As on SQLite, a failing statement inside a transaction undoes only itself.
TEST_F(PgTransaction, AFailingStatementLeavesTheTransactionGoing) {
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(insert("a").ok());
    EXPECT_EQ(insert("a").errorCode(), pgCode("23505"));
    EXPECT_EQ(run(m_session, "select * from no_such_table_here").errorCode(), pgCode("42P01"));
    EXPECT_EQ(run(m_session, "select 1; select 2").errorCode(), errc::kMultipleStatements);
    ASSERT_TRUE(insert("b").ok());
    ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
    EXPECT_EQ(values(), (Rows{{"a"}, {"b"}}));
}

// With vorn_statement_rollback=off, PostgreSQL's own rule: the transaction
// fails as a whole, and committing it says so.
TEST_F(PgTransaction, WithoutStatementRollbackAFailureFailsTheTransaction) {
    ASSERT_EQ(bindDataSource(m_session, urlWith("vorn_statement_rollback=off")), 0U);
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(insert("a").ok());
    EXPECT_EQ(insert("a").errorCode(), pgCode("23505"));
    EXPECT_EQ(insert("b").errorCode(), pgCode("25P02"));
    const ExecResult commit = DataSession(m_session.c_str()).commit();
    EXPECT_EQ(commit.errorCode(), pgCode("25P02"));
    EXPECT_FALSE(detailOf(commit).empty());
    EXPECT_TRUE(values().empty());
    ASSERT_TRUE(insert("c").ok());  // the next call starts clean
    EXPECT_EQ(values(), (Rows{{"c"}}));
}

TEST_F(PgTransaction, TransactionStatementsRunAsStatementsToo) {
    ASSERT_TRUE(run(m_session, "begin").ok());
    ASSERT_TRUE(insert("a").ok());
    ASSERT_TRUE(run(m_session, "rollback").ok());
    EXPECT_TRUE(values().empty());
}

}  // namespace
}  // namespace vorn::test

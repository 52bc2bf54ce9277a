// The DataSession contract on any store: a transaction belongs to the session
// name and the thread.
#include <thread>
#include <vector>

#include "dal_fixture.h"

namespace vorn::test {
namespace {

class TransactionTest : public DalTest {
  protected:
    void prepare() override { ASSERT_TRUE(run(m_session, "create table t(v text unique)").ok()); }
    Rows values() const { return all(); }
    ExecResult insert(const std::string& value) const {
        return run(m_session, "insert into t values('" + value + "')");
    }
    ExecResult begin() const { return DataSession(m_session.c_str()).beginTransaction(); }
    ExecResult commit() const { return DataSession(m_session.c_str()).commit(); }
    ExecResult rollback() const { return DataSession(m_session.c_str()).rollback(); }
};

// Misplaced calls get the store's own answer, whatever it is; the
// transaction is not nested. Transaction statements run as statements too.
TEST_F(TransactionTest, MisplacedCallsGetTheStoresAnswer) {
    DataSession s(m_session.c_str());
    for (const ExecResult& status : {s.commit(), s.rollback()}) {
        EXPECT_EQ(status.errorCode(), dialect().noTransaction);
        EXPECT_EQ(detailOf(status).empty(), status.ok());
    }
    ASSERT_TRUE(s.beginTransaction().ok());
    ASSERT_TRUE(insert("a").ok());
    EXPECT_EQ(s.beginTransaction().errorCode(), dialect().nestedBegin);
    ASSERT_TRUE(s.rollback().ok());
    EXPECT_TRUE(values().empty());
    ASSERT_TRUE(run(m_session, "begin").ok());
    ASSERT_TRUE(insert("a").ok());
    ASSERT_TRUE(run(m_session, "rollback").ok());
    EXPECT_TRUE(values().empty());
}

TEST_F(TransactionTest, AFailingStatementUndoesOnlyItself) {
    ASSERT_TRUE(begin().ok());
    ASSERT_TRUE(insert("a").ok());
    EXPECT_EQ(insert("a").errorCode(), dialect().unique);
    EXPECT_EQ(run(m_session, "select * from no_such_table").errorCode(), dialect().missingTable);
    EXPECT_EQ(run(m_session, "select 1; select 2").errorCode(), errc::kMultipleStatements);
    ASSERT_TRUE(insert("b").ok());
    ASSERT_TRUE(commit().ok());
    EXPECT_EQ(values(), (Rows{{"a"}, {"b"}}));
}

// Another thread has its own transaction state on the same name: it does not
// see the open transaction, cannot end it, and its own writes survive the
// rollback (waiting for the store where the store locks).
TEST_F(TransactionTest, OtherThreadsAreNotAffected) {
    ASSERT_TRUE(begin().ok());
    ASSERT_TRUE(insert("mine").ok());
    Rows seen;
    ExecResult otherRollback;
    ExecResult otherWrite;
    ExecResult otherCommitted;
    std::thread other([&] {
        seen = values();
        otherRollback = rollback();
        otherWrite = insert("theirs");
        static_cast<void>(begin());
        static_cast<void>(insert("theirs, undone"));
        static_cast<void>(rollback());
        otherCommitted = insert("theirs, again");
    });
    ASSERT_TRUE(insert("mine, too").ok());
    ASSERT_TRUE(rollback().ok());
    other.join();
    EXPECT_TRUE(seen.empty());
    EXPECT_EQ(otherRollback.errorCode(), dialect().noTransaction);
    EXPECT_TRUE(otherWrite.ok()) << detailOf(otherWrite);
    EXPECT_TRUE(otherCommitted.ok()) << detailOf(otherCommitted);
    EXPECT_EQ(values(), (Rows{{"theirs"}, {"theirs, again"}}));
}

// A read opened inside a transaction goes on after it; the transaction's
// writes and its end are what they would be without it (reads opened before
// a transaction: session_test.cpp).
TEST_F(TransactionTest, ReadsLeftOpenDoNotChangeTransactions) {
    Row row;
    ExecResult status;
    ASSERT_TRUE(begin().ok());
    ASSERT_TRUE(insert("a").ok());
    DataSession inside(m_session.c_str());
    open(inside, series(3000));
    ASSERT_TRUE(inside.fetchRow(status, rowTarget(row), 100));
    ASSERT_TRUE(insert("b").ok());
    EXPECT_EQ(queryElsewhere(m_session, "select count(*) from t"), (Rows{{"0"}}));
    ASSERT_TRUE(commit().ok());
    EXPECT_EQ(queryElsewhere(m_session, "select count(*) from t"), (Rows{{"2"}}));
    EXPECT_EQ(fetchAll(inside).size(), 2999U);

    ASSERT_TRUE(begin().ok());
    ASSERT_TRUE(insert("c").ok());
    DataSession seesOwnWrites(m_session.c_str());
    open(seesOwnWrites, "select v from t order by v");
    EXPECT_EQ(fetchAll(seesOwnWrites), (Rows{{"a"}, {"b"}, {"c"}}));
    ASSERT_TRUE(rollback().ok());
    EXPECT_EQ(values(), (Rows{{"a"}, {"b"}}));
}

}  // namespace
}  // namespace vorn::test

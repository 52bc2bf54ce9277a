// A server restart between two calls: the first call after it fails cleanly,
// the next reconnects by itself, and nothing committed is lost. Set
// VORN_TEST_PG_RESTART to a command that restarts the server (e.g.
// "scripts/pg-server restart <dir>").
#include <cstdlib>

#include "dal_fixture.h"

namespace vorn::test {
namespace {

using PgRestart = PgTest;

TEST_F(PgRestart, TheFirstCallAfterARestartFailsAndTheNextReconnects) {
    const char* restart = std::getenv("VORN_TEST_PG_RESTART");
    if (restart == nullptr || *restart == '\0') {
        GTEST_SKIP() << "VORN_TEST_PG_RESTART is not set: give it a shell command that "
                        "restarts the server, e.g. \"scripts/pg-server restart <dir>\"";
    }
    ASSERT_TRUE(run(m_session, "create table t(v text)").ok());
    ASSERT_TRUE(run(m_session, "insert into t values ('committed')").ok());
    // A second name of this thread holds an open transaction across the restart.
    const std::string other = m_session + ".tx";
    ASSERT_EQ(bindDataSource(other, m_url), 0U);
    ASSERT_TRUE(DataSession(other.c_str()).beginTransaction().ok());
    ASSERT_TRUE(run(other, "insert into t values ('uncommitted')").ok());
    // And a third one a read that is still open.
    const std::string reading = m_session + ".read";
    ASSERT_EQ(bindDataSource(reading, m_url), 0U);
    DataSession reader(reading.c_str());
    open(reader, "select generate_series(1, 100000)");
    Row row;
    ExecResult status;
    ASSERT_TRUE(reader.fetchRow(status, rowTarget(row), 100));

    ASSERT_EQ(std::system(restart), 0) << restart;

    const ExecResult first = run(m_session, "select 1", SqlKind::Read);
    EXPECT_NE(first.errorCode(), 0U);
    EXPECT_NE(detailOf(first).find("connection to the server was lost"), std::string::npos)
        << detailOf(first);
    const ExecResult inTransaction = run(other, "insert into t values ('after')");
    EXPECT_NE(detailOf(inTransaction).find("the open transaction was rolled back"),
              std::string::npos)
        << detailOf(inTransaction);
    while (reader.fetchRow(status, rowTarget(row), 100)) {
    }
    EXPECT_NE(status.errorCode(), 0U);  // the read ends with the connection's failure

    EXPECT_EQ(query(m_session, "select 'back'"), (Rows{{"back"}}));
    // The transaction is gone: the next call on that name starts clean.
    ASSERT_TRUE(run(other, "insert into t values ('after')").ok());
    EXPECT_EQ(all(), (Rows{{"after"}, {"committed"}}));
    unbindDataSource(other);
    unbindDataSource(reading);
}

}  // namespace
}  // namespace vorn::test

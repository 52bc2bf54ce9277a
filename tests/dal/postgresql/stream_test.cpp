// PostgreSQL reads outside a transaction, which stream off the connection: a
// failure that comes after some rows, and readers given up before their end.
#include <cstdlib>
#include <string>

#include "dal_fixture.h"

namespace vorn::test {
namespace {

class PgStream : public PgTest {
  protected:
    std::string committedCount(const std::string& table) const {
        const Rows rows = queryElsewhere(m_session, "select count(*) from " + table);
        return rows.empty() ? "?" : rows[0][0];
    }
    // Reads up to most rows of s; returns how many it read and leaves the status.
    static long readRows(DataSession& s, ExecResult& status, long most) {
        Row row;
        long rows = 0;
        while (rows < most && s.fetchRow(status, rowTarget(row), 100)) {
            ++rows;
        }
        return rows;
    }
    std::string backendPid() const {
        const Rows rows = query(m_session, "select pg_backend_pid()");
        return rows.empty() ? "" : rows[0][0];
    }
};

// The server fails at row 5,000: the reader gets the 4,999 rows before it and
// then the store's code and message, as from any failing read, whether it read
// them off the wire or from memory (a write in between took the rest in). The
// write is not caught up in the failure, and the name stays usable.
TEST_F(PgStream, AFailureAfterSomeRowsReachesTheReaderAfterThoseRows) {
    ASSERT_TRUE(run(m_session, "create table t(v int8)").ok());
    for (const bool writeBetween : {false, true}) {
        SCOPED_TRACE(writeBetween ? "a write between" : "read straight");
        DataSession reader(m_session.c_str());
        open(reader, "select g, 1 / (5000 - g) from generate_series(1, 10000) g");
        ExecResult status;
        long rows = readRows(reader, status, 10);
        if (writeBetween) {
            ASSERT_TRUE(run(m_session, "insert into t values (1)").ok());
            EXPECT_EQ(committedCount("t"), "1");
        }
        rows += readRows(reader, status, 100000);
        EXPECT_EQ(rows, 4999);
        EXPECT_EQ(status.errorCode(), pgCode("22012")) << detailOf(status);
        EXPECT_EQ(detailOf(status), "division by zero");
        Row row;
        EXPECT_FALSE(reader.fetchRow(status, rowTarget(row), 100));  // the read has ended
        EXPECT_TRUE(status.ok()) << detailOf(status);
    }
    ASSERT_TRUE(run(m_session, "insert into t values (2)").ok());
    EXPECT_EQ(committedCount("t"), "2");
}

// A reader given up with a short rest (read and thrown away) or a long one,
// in rows or in bytes (cancelled on the server): the next calls on the same
// connection work, none of them fails with the cancel, and the server
// connection is still the same. generate_series stands in the select list,
// where its rows come as they are made.
TEST_F(PgStream, AReaderGivenUpLeavesTheConnectionToTheNextCall) {
    ASSERT_TRUE(run(m_session, "create table t(v int8)").ok());
    const std::string pid = backendPid();
    ASSERT_FALSE(pid.empty());
    const char* const reads[] = {
        "select g, repeat('x', 20) from (select generate_series(1, 3000) g) s",
        "select g, repeat('x', 20) from (select generate_series(1, 20000000) g) s",
        "select g, repeat('x', 100000) from (select generate_series(1, 2000) g) s",
    };
    int written = 0;
    for (const char* sql : reads) {
        SCOPED_TRACE(sql);
        for (const long read : {0L, 1L, 1500L}) {
            {
                DataSession reader(m_session.c_str());
                open(reader, sql);
                ExecResult status;
                ASSERT_EQ(readRows(reader, status, read), read);
            }
            ASSERT_TRUE(
                run(m_session, "insert into t values (" + std::to_string(++written) + ")").ok());
            EXPECT_EQ(committedCount("t"), std::to_string(written));
            ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
            EXPECT_EQ(query(m_session, "select count(*) from t"),
                      (Rows{{std::to_string(written)}}));
            ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
        }
    }
    EXPECT_EQ(backendPid(), pid);
}

// Rows without columns are rows too, also when a call in between takes them in.
TEST_F(PgStream, RowsWithoutColumnsAreCounted) {
    DataSession reader(m_session.c_str());
    open(reader, "select from generate_series(1, 30000)");
    ExecResult status;
    long rows = readRows(reader, status, 5);
    ASSERT_TRUE(run(m_session, "create table t(v int8)").ok());
    rows += readRows(reader, status, 100000);
    EXPECT_TRUE(status.ok()) << detailOf(status);
    EXPECT_EQ(rows, 30000);
}

}  // namespace
}  // namespace vorn::test

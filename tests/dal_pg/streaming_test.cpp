// Reads that stream through a server cursor while the same session name and
// thread go on writing.
#include <thread>

#include "pg_fixture.h"

namespace vorn::test {
namespace {

class PgStreaming : public PgTest {
  protected:
    // Opens a read on s; asserts that it started.
    static void open(DataSession& s, const std::string& sql) {
        const ExecResult status =
            s.execute("dal_pg_test:open:0", SqlKind::Read, sql, NoParameters{});
        ASSERT_TRUE(status.ok()) << sql << ": " << detailOf(status);
    }
    // The number of rows of table as another thread (another connection) sees them.
    std::string committedCount(const std::string& table) const {
        Rows rows;
        std::thread([&] { rows = query(m_session, "select count(*) from " + table); }).join();
        return rows.empty() ? "?" : rows[0][0];
    }
};

TEST_F(PgStreaming, ManyRowsStreamWhileTheSameThreadWrites) {
    const std::string log = freshTable("", "at int8");
    constexpr long kRows = 200000;
    DataSession reader(m_session.c_str());
    ASSERT_NO_FATAL_FAILURE(open(reader, "select g, repeat('x', g % 50) from generate_series(1, " +
                                             std::to_string(kRows) + ") g"));
    Row row;
    ExecResult status;
    long count = 0;
    long sum = 0;
    bool textsRight = true;
    while (reader.fetchRow(status, rowTarget(row), 100)) {
        ++count;
        const long g = std::strtol(row.at(0).str().c_str(), nullptr, 10);
        sum += g;
        textsRight =
            textsRight && row.at(1).str() == std::string(static_cast<std::size_t>(g % 50), 'x');
        if (count % 50000 == 0) {
            // Autocommit writes in the middle of the read: committed at once.
            const ExecResult write =
                run(m_session, "insert into " + log + " values (" + std::to_string(count) + ")");
            ASSERT_TRUE(write.ok()) << detailOf(write);
            EXPECT_EQ(committedCount(log), std::to_string(count / 50000));
        }
    }
    EXPECT_TRUE(status.ok()) << detailOf(status);
    EXPECT_EQ(count, kRows);
    EXPECT_EQ(sum, kRows * (kRows + 1) / 2);
    EXPECT_TRUE(textsRight);
    EXPECT_EQ(all(log), (Rows{{"50000"}, {"100000"}, {"150000"}, {"200000"}}));
}

TEST_F(PgStreaming, AReadInsideATransactionSeesItsUncommittedWrites) {
    const std::string t = freshTable("", "v int8");
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(run(m_session, "insert into " + t + " select generate_series(1, 1000)").ok());
    DataSession reader(m_session.c_str());
    ASSERT_NO_FATAL_FAILURE(open(reader, "select v from " + t + " order by v"));
    Row row;
    ExecResult status;
    ASSERT_TRUE(reader.fetchRow(status, rowTarget(row), 100));
    EXPECT_EQ(row.at(0).str(), "1");
    // More writes while the read is open; then the read goes on to its end.
    ASSERT_TRUE(run(m_session, "insert into " + t + " values (5000)").ok());
    EXPECT_EQ(fetchAll(reader).size(), 999U);
    ASSERT_TRUE(DataSession(m_session.c_str()).rollback().ok());
    EXPECT_EQ(committedCount(t), "0");
}

TEST_F(PgStreaming, AReadStaysOpenAcrossTheCallersTransaction) {
    const std::string t = freshTable("", "v int8");
    DataSession reader(m_session.c_str());
    ASSERT_NO_FATAL_FAILURE(open(reader, "select g from generate_series(1, 5000) g"));
    Row row;
    ExecResult status;
    ASSERT_TRUE(reader.fetchRow(status, rowTarget(row), 100));
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(run(m_session, "insert into " + t + " values (1)").ok());
    EXPECT_EQ(committedCount(t), "0");
    ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
    EXPECT_EQ(committedCount(t), "1");
    EXPECT_EQ(fetchAll(reader).size(), 4999U);
    // Nothing of the read is left to hold a transaction open: the next write
    // is committed at once.
    ASSERT_TRUE(run(m_session, "insert into " + t + " values (2)").ok());
    EXPECT_EQ(committedCount(t), "2");
}

// However a read ends, the transaction it ran in ends with it: a setting made
// local to that transaction is gone for the next read.
TEST_F(PgStreaming, AReadThatEndsLeavesNoTransactionBehind) {
    const std::string local = "set_config('vorn.probe', 'set', true)";
    const struct {
        std::string sql;
        int rowsRead;  // -1: all
    } cases[] = {
        {"select " + local, -1},                                 // one chunk
        {"select " + local + ", generate_series(1, 3000)", -1},  // several chunks
        {"select " + local + ", generate_series(1, 3000)", 1},   // dropped early
        {"select " + local + ", generate_series(1, 3000)", 0},   // dropped unread
        {"select " + local + ", 1 / (g - 200) from generate_series(1, 300) g", -1},  // failed
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.sql);
        {
            DataSession reader(m_session.c_str());
            ASSERT_NO_FATAL_FAILURE(open(reader, c.sql));
            Row row;
            ExecResult status;
            for (int i = 0; c.rowsRead < 0 || i < c.rowsRead; ++i) {
                if (!reader.fetchRow(status, rowTarget(row), 100)) {
                    break;
                }
            }
        }
        EXPECT_EQ(query(m_session, "select current_setting('vorn.probe', true)"), (Rows{{""}}));
    }
}

TEST_F(PgStreaming, ReadsNestAndAbandonedReadsEndCleanly) {
    DataSession outer(m_session.c_str());
    ASSERT_NO_FATAL_FAILURE(open(outer, "select g from generate_series(1, 300) g"));
    Row row;
    ExecResult status;
    long inner = 0;
    while (outer.fetchRow(status, rowTarget(row), 100)) {
        DataSession s(m_session.c_str());
        ASSERT_NO_FATAL_FAILURE(open(s, "select " + row.at(0).str() + " * 2"));
        Row innerRow;
        ASSERT_TRUE(s.fetchRow(status, rowTarget(innerRow), 100));
        inner += std::strtol(innerRow.at(0).str().c_str(), nullptr, 10);
        if (row.at(0).str() == "150") {
            DataSession abandoned(m_session.c_str());  // read one row of many, then dropped
            ASSERT_NO_FATAL_FAILURE(open(abandoned, "select generate_series(1, 100000)"));
            ASSERT_TRUE(abandoned.fetchRow(status, rowTarget(innerRow), 100));
        }
    }
    EXPECT_TRUE(status.ok()) << detailOf(status);
    EXPECT_EQ(inner, 300 * 301);
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
}

TEST_F(PgStreaming, StatementsNoCursorCanRunAreReadWhole) {
    const std::string t = freshTable("", "id serial primary key, v text");
    EXPECT_EQ(query(m_session, "insert into " + t + " (v) values ('a'), ('b') returning id, v"),
              (Rows{{"1", "a"}, {"2", "b"}}));
    EXPECT_EQ(committedCount(t), "2");  // a write read like this commits as any write
    EXPECT_EQ(query(m_session, "with gone as (delete from " + t +
                                   " where id = 1 returning v) "
                                   "select v from gone"),
              (Rows{{"a"}}));
    EXPECT_EQ(query(m_session, "show standard_conforming_strings"), (Rows{{"on"}}));
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    EXPECT_EQ(query(m_session, "select v from " + t + " for update"), (Rows{{"b"}}));
    ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
}

// Reads kept open across writes, read by turns: each gets its own rows.
TEST_F(PgStreaming, ReadsTakenInTurnsKeepTheirOwnRows) {
    const std::string t = freshTable("", "v int8");
    DataSession a(m_session.c_str());
    DataSession b(m_session.c_str());
    Row row;
    ExecResult status;
    ASSERT_NO_FATAL_FAILURE(open(a, "select generate_series(1, 5000)"));
    ASSERT_TRUE(a.fetchRow(status, rowTarget(row), 100));
    ASSERT_TRUE(run(m_session, "insert into " + t + " values (1)").ok());
    ASSERT_NO_FATAL_FAILURE(open(b, "select generate_series(100001, 105000)"));
    ASSERT_TRUE(b.fetchRow(status, rowTarget(row), 100));
    ASSERT_TRUE(run(m_session, "insert into " + t + " values (2)").ok());
    long sumA = 1;
    long sumB = 100001;
    bool moreA = true;
    bool moreB = true;
    while (moreA || moreB) {
        for (int i = 0; i < 7 && moreA; ++i) {
            moreA = a.fetchRow(status, rowTarget(row), 100);
            sumA += moreA ? std::strtol(row.at(0).str().c_str(), nullptr, 10) : 0;
        }
        for (int i = 0; i < 5 && moreB; ++i) {
            moreB = b.fetchRow(status, rowTarget(row), 100);
            sumB += moreB ? std::strtol(row.at(0).str().c_str(), nullptr, 10) : 0;
        }
    }
    EXPECT_EQ(sumA, 5000L * 5001 / 2);
    EXPECT_EQ(sumB, 5000L * (100001 + 105000) / 2);
    EXPECT_EQ(committedCount(t), "2");
}

// The server may meet the failure while the caller is still reading earlier
// rows; a write made meanwhile is not caught up in it.
TEST_F(PgStreaming, AFailureAheadOfTheReaderDoesNotTouchWritesMadeMeanwhile) {
    const std::string t = freshTable("", "v int8");
    DataSession reader(m_session.c_str());
    ASSERT_NO_FATAL_FAILURE(open(reader, "select 1 / (g - 150) from generate_series(1, 300) g"));
    Row row;
    ExecResult status;
    ASSERT_TRUE(reader.fetchRow(status, rowTarget(row), 100));
    ASSERT_TRUE(run(m_session, "insert into " + t + " values (1)").ok());
    EXPECT_EQ(committedCount(t), "1");
    long rows = 1;
    while (reader.fetchRow(status, rowTarget(row), 100)) {
        ++rows;
    }
    EXPECT_LT(rows, 150);
    EXPECT_EQ(status.errorCode(), pgCode("22012")) << detailOf(status);
    ASSERT_TRUE(run(m_session, "insert into " + t + " values (2)").ok());
    EXPECT_EQ(committedCount(t), "2");
}

TEST_F(PgStreaming, AFailureInTheMiddleOfAReadEndsItWithTheStoreCode) {
    DataSession reader(m_session.c_str());
    // Row 150 divides by zero; the first chunk of rows arrives before that.
    ASSERT_NO_FATAL_FAILURE(open(reader, "select 1 / (g - 150) from generate_series(1, 300) g"));
    Row row;
    ExecResult status;
    long rows = 0;
    while (reader.fetchRow(status, rowTarget(row), 100)) {
        ++rows;
    }
    EXPECT_LT(rows, 150);
    EXPECT_EQ(status.errorCode(), pgCode("22012")) << detailOf(status);
    EXPECT_EQ(detailOf(status), "division by zero");
    EXPECT_EQ(query(m_session, "select 'still usable'"), (Rows{{"still usable"}}));
}

}  // namespace
}  // namespace vorn::test

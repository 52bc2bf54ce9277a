// PostgreSQL reads: the text of its own types (exact floating-point values:
// batch_test.cpp reads them back), and reads that stream off the connection
// while the same session name and thread go on writing: a failure that comes
// after some rows, and readers given up before their end.
#include <cstdlib>
#include <string>

#include "dal_fixture.h"

namespace vorn::test {
namespace {

using PgRead = PgTest;

TEST_F(PgRead, FieldsOfPostgresTypesArriveInTheirTextForm) {
    const struct {
        const char* expression;
        const char* text;
    } cases[] = {
        {"true", "true"},  // not PostgreSQL's "t": the reader's int extraction knows "true"
        {"false", "false"},
        {"null::boolean", ""},
        {"''::text", ""},  // the empty text and NULL read alike
        {"' '::text", " "},
        {"-5::int4", "-5"},
        {"(-9223372036854775807 - 1)::int8", "-9223372036854775808"},
        {"0.1::float4", "0.1"},
        {"12.50::numeric", "12.50"},
        {"'2024-02-29'::date", "2024-02-29"},
        {"array[true, false]", "{t,f}"},  // only plain booleans are spelled out
    };
    for (const auto& c : cases) {
        EXPECT_EQ(query(m_session, std::string("select ") + c.expression), (Rows{{c.text}}))
            << c.expression;
    }
}

// Autocommit writes made while a read is open are committed at once.
TEST_F(PgRead, ManyRowsStreamWhileTheSameThreadWrites) {
    ASSERT_TRUE(run(m_session, "create table log(at int8)").ok());
    constexpr long kRows = 200000;
    DataSession reader(m_session.c_str());
    open(reader,
         "select g, repeat('x', g % 50) from generate_series(1, " + std::to_string(kRows) + ") g");
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
            ASSERT_TRUE(
                run(m_session, "insert into log values (" + std::to_string(count) + ")").ok());
            EXPECT_EQ(committedCount("log"), std::to_string(count / 50000));
        }
    }
    EXPECT_TRUE(status.ok()) << detailOf(status);
    EXPECT_EQ(count, kRows);
    EXPECT_EQ(sum, kRows * (kRows + 1) / 2);
    EXPECT_TRUE(textsRight);
}

// However a read ends, the transaction it ran in ends with it: a setting made
// local to that transaction is gone for the next read.
TEST_F(PgRead, AReadThatEndsLeavesNoTransactionBehind) {
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
            open(reader, c.sql);
            ExecResult status;
            readRows(reader, status, c.rowsRead);
        }
        EXPECT_EQ(query(m_session, "select current_setting('vorn.probe', true)"), (Rows{{""}}));
    }
}

TEST_F(PgRead, ReadsNestAndAbandonedReadsEndCleanly) {
    DataSession outer(m_session.c_str());
    open(outer, "select g from generate_series(1, 300) g");
    Row row;
    ExecResult status;
    long inner = 0;
    while (outer.fetchRow(status, rowTarget(row), 100)) {
        DataSession s(m_session.c_str());
        open(s, "select " + row.at(0).str() + " * 2");
        Row innerRow;
        ASSERT_TRUE(s.fetchRow(status, rowTarget(innerRow), 100));
        inner += std::strtol(innerRow.at(0).str().c_str(), nullptr, 10);
        if (row.at(0).str() == "150") {
            DataSession abandoned(m_session.c_str());  // read one row of many, then dropped
            open(abandoned, "select generate_series(1, 100000)");
            ASSERT_TRUE(abandoned.fetchRow(status, rowTarget(innerRow), 100));
        }
    }
    EXPECT_TRUE(status.ok()) << detailOf(status);
    EXPECT_EQ(inner, 300 * 301);
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
}

TEST_F(PgRead, StatementsNoCursorCanRunAreReadWhole) {
    ASSERT_TRUE(run(m_session, "create table t(id serial primary key, v text)").ok());
    EXPECT_EQ(query(m_session, "insert into t (v) values ('a'), ('b') returning id, v"),
              (Rows{{"1", "a"}, {"2", "b"}}));
    EXPECT_EQ(committedCount("t"), "2");  // a write read like this commits as any write
    EXPECT_EQ(query(m_session,
                    "with gone as (delete from t where id = 1 returning v) select v from gone"),
              (Rows{{"a"}}));
    EXPECT_EQ(query(m_session, "show standard_conforming_strings"), (Rows{{"on"}}));
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    EXPECT_EQ(query(m_session, "select v from t for update"), (Rows{{"b"}}));
    ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
}

// Reads kept open across writes, read by turns: each gets its own rows.
TEST_F(PgRead, ReadsTakenInTurnsKeepTheirOwnRows) {
    ASSERT_TRUE(run(m_session, "create table t(v int8)").ok());
    DataSession a(m_session.c_str());
    DataSession b(m_session.c_str());
    Row row;
    ExecResult status;
    open(a, "select generate_series(1, 5000)");
    ASSERT_TRUE(a.fetchRow(status, rowTarget(row), 100));
    ASSERT_TRUE(run(m_session, "insert into t values (1)").ok());
    open(b, "select generate_series(100001, 105000)");
    ASSERT_TRUE(b.fetchRow(status, rowTarget(row), 100));
    ASSERT_TRUE(run(m_session, "insert into t values (2)").ok());
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
    EXPECT_EQ(committedCount("t"), "2");
}

// The server fails at row 5,000: the reader gets the 4,999 rows before it and
// then the store's code and message, as from any failing read, whether it read
// them off the wire or from memory (a write in between took the rest in). The
// write is not caught up in the failure, and the name stays usable.
TEST_F(PgRead, AFailureAfterSomeRowsReachesTheReaderAfterThoseRows) {
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
TEST_F(PgRead, AReaderGivenUpLeavesTheConnectionToTheNextCall) {
    ASSERT_TRUE(run(m_session, "create table t(v int8)").ok());
    const std::string pid = query(m_session, "select pg_backend_pid()").at(0).at(0);
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
    EXPECT_EQ(query(m_session, "select pg_backend_pid()"), (Rows{{pid}}));
}

// Rows without columns are rows too, also when a call in between takes them in.
TEST_F(PgRead, RowsWithoutColumnsAreCounted) {
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

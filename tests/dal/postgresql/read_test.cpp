// PostgreSQL reads: the text of its own types (exact floating-point values:
// batch_test.cpp reads them back), the transaction a read runs in, and
// readers given up before their end. Writes between the rows of open reads,
// and a read that fails after some rows, are the contract and end-to-end
// suites' (on both stores).
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

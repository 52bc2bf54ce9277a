// PostgreSQL reads: the text of its own types (exact floating-point values:
// batch_test.cpp reads them back), the transaction a read runs in, and
// readers given up before their end. Writes between the rows of open reads,
// and a read that fails after some rows, are the contract and end-to-end
// suites' (on both stores).
#include <string>
#include <vector>

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

// However a read ends (read whole in one chunk or in several, given up
// unread, with a short rest, which is read and thrown away, or with a long one
// in rows or in bytes, which the server cancels, or failed), the transaction
// it ran in ends with it: a setting local to that transaction is gone, the
// next write commits, nothing fails with the cancel, and the server
// connection is still the same. generate_series stands in the select list,
// where its rows come as they are made.
TEST_F(PgRead, AReadThatEndsLeavesNoTransactionBehind) {
    ASSERT_TRUE(run(m_session, "create table t(v int8)").ok());
    const std::string pid = query(m_session, "select pg_backend_pid()").at(0).at(0);
    const std::string local = "select set_config('vorn.probe', 'set', true), ";
    const auto rows = [&local](const char* count, const char* bytes) {
        return local + "g, repeat('x', " + bytes + ") from (select generate_series(1, " + count +
               ") g) s";
    };
    const struct {
        std::string sql;
        std::vector<long> reads;  // rows read before the reader is dropped; -1: all
    } cases[] = {
        {local + "1", {-1}},
        {rows("3000", "20"), {-1, 0, 1, 1500}},
        {rows("20000000", "20"), {0, 1, 1500}},
        {rows("2000", "100000"), {0, 1, 1500}},
        {local + "1 / (g - 200) from generate_series(1, 300) g", {-1}},  // fails
    };
    int written = 0;
    for (const auto& c : cases) {
        for (const long read : c.reads) {
            SCOPED_TRACE(c.sql + ", rows read: " + std::to_string(read));
            {
                DataSession reader(m_session.c_str());
                open(reader, c.sql);
                ExecResult status;
                const long got = readRows(reader, status, read);
                ASSERT_TRUE(read < 0 || got == read) << got;
            }
            EXPECT_EQ(query(m_session, "select current_setting('vorn.probe', true)"), (Rows{{""}}));
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

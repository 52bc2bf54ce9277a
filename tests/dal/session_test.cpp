#include <string>

#include "dal_fixture.h"

namespace vorn::test {
namespace {

using namespace std::string_literals;

TEST(StatementIdTest, JoinsSourceFunctionAndLine) {
    EXPECT_EQ(platform::makeStatementId("MiraDB", "execReadSQL", 63), "MiraDB:execReadSQL:63");
    EXPECT_EQ(platform::makeStatementId(nullptr, nullptr, -1), "::-1");
}

TEST(ExecResultTest, FailureCarriesCodeAndOptionalDetail) {
    EXPECT_TRUE(ExecResult().ok());
    const ExecResult failed = ExecResult::failure(2067, "UNIQUE constraint failed");
    EXPECT_FALSE(failed.ok());
    EXPECT_NE(failed.outcome(), 0);
    EXPECT_EQ(failed.errorCode(), 2067U);
    EXPECT_EQ(failed.detail(), "UNIQUE constraint failed");
    EXPECT_FALSE(ExecResult::failureWithoutDetail(5).detail().has_value());
}

using SessionTest = DalTest;

// Text form of each storage class.
TEST_F(SessionTest, FieldsReadAsTextOfTheirType) {
    const struct {
        const char* expression;
        std::string text;
    } cases[] = {
        {"42", "42"},
        {"-9223372036854775808", "-9223372036854775808"},
        {"0.1 + 0.2", "0.30000000000000004"},  // not SQLite's 15-digit "0.3"
        {"1.0 / 3", "0.3333333333333333"},
        {"1e300", "1e+300"},
        {"4.9406564584124654e-324", "5e-324"},
        {"2.5", "2.5"},
        {"NULL", ""},
        {"'it''s \xC3\xA9\xFF'", "it's \xC3\xA9\xFF"},
        {"x'00410042'", std::string("\0A\0B", 4)},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(query(m_session, std::string("select ") + c.expression), Rows{{c.text}})
            << c.expression;
    }
}

TEST_F(SessionTest, FetchReusesRowAndEndsCleanly) {
    seed();
    DataSession s(m_session.c_str());
    EXPECT_EQ(s.sessionName(), m_session);
    ASSERT_TRUE(
        s.execute("id", SqlKind::Read, "select id from t order by id", NoParameters{}).ok());
    Row row(5, platform::FieldValue("stale"));
    ExecResult status;
    ASSERT_TRUE(s.fetchRow(status, rowTarget(row), 100));
    ASSERT_EQ(row.size(), 1U);  // resized to the column count
    EXPECT_EQ(row[0].str(), "1");
    ASSERT_TRUE(s.fetchRow(status, rowTarget(row), 100));
    EXPECT_EQ(row[0].str(), "2");
    for (int i = 0; i < 2; ++i) {  // the end, and again past it
        EXPECT_FALSE(s.fetchRow(status, rowTarget(row), 100));
        EXPECT_TRUE(status.ok());
    }
}

TEST_F(SessionTest, FetchRefusesWrongTargetsAndSessionsWithoutRead) {
    seed();
    DataSession s(m_session.c_str());
    Row row;
    ExecResult status;
    EXPECT_FALSE(s.fetchRow(status, rowTarget(row), 100));
    EXPECT_EQ(status.errorCode(), errc::kNoResult);

    ASSERT_TRUE(s.execute("id", SqlKind::Read, "select * from t", NoParameters{}).ok());
    TypedRef wrong = rowTarget(row);
    wrong.type.code = platform::typecode::kParamMap;
    EXPECT_FALSE(s.fetchRow(status, wrong, 100));
    EXPECT_EQ(status.errorCode(), errc::kBadParameters);
    EXPECT_FALSE(
        s.fetchRow(status, TypedRef{{platform::typecode::kRowTarget, 0, nullptr}, nullptr}, 1));
    EXPECT_EQ(status.errorCode(), errc::kBadParameters);
    EXPECT_EQ(fetchAll(s), seededRows());  // the result is still there

    // A write leaves no result to fetch, even for a statement that returns rows.
    ASSERT_TRUE(s.execute("id", SqlKind::Write, "select * from t", NoParameters{}).ok());
    EXPECT_FALSE(s.fetchRow(status, rowTarget(row), 100));
    EXPECT_EQ(status.errorCode(), errc::kNoResult);
}

TEST_F(SessionTest, NewExecuteReplacesOpenResult) {
    seed();
    DataSession s(m_session.c_str());
    ASSERT_TRUE(
        s.execute("id", SqlKind::Read, "select name from t order by id", NoParameters{}).ok());
    Row row;
    ExecResult status;
    ASSERT_TRUE(s.fetchRow(status, rowTarget(row), 100));
    ASSERT_TRUE(
        s.execute("id", SqlKind::Read, "select id * 10 from t order by id", NoParameters{}).ok());
    EXPECT_EQ(fetchAll(s), (Rows{{"10"}, {"20"}}));
}

TEST_F(SessionTest, OpenReadDoesNotBlockWritesOnSameNameAndThread) {
    seed();
    ASSERT_TRUE(run(m_session, "create table r(v integer)").ok());
    ASSERT_TRUE(run(m_session, "insert into r values(1), (2), (3)").ok());
    DataSession reader(m_session.c_str());
    ASSERT_TRUE(
        reader.execute("id", SqlKind::Read, "select v from r order by v", NoParameters{}).ok());
    Row row;
    ExecResult status;
    ASSERT_TRUE(reader.fetchRow(status, rowTarget(row), 100));
    EXPECT_EQ(row[0].str(), "1");

    ASSERT_TRUE(run(m_session, "insert into t values(3, 'three')").ok());
    ASSERT_TRUE(run(m_session, "update t set name = 'uno' where id = 1").ok());
    DataSession tx(m_session.c_str());
    ASSERT_TRUE(tx.beginTransaction().ok());
    ASSERT_TRUE(run(m_session, "delete from t where id = 2").ok());
    ASSERT_TRUE(tx.commit().ok());

    EXPECT_EQ(fetchAll(reader), (Rows{{"2"}, {"3"}}));  // the read goes on
    EXPECT_EQ(all(), (Rows{{"1", "uno"}, {"3", "three"}}));
}

TEST_F(SessionTest, SecondStatementIsRefusedAndNothingRuns) {
    seed();
    const std::string refused[] = {
        "insert into t values(3, 'x'); insert into t values(4, 'y')",
        "insert into t values(3, 'x');drop table t",
        "select 1; select 2",
        "insert into t values(3, 'x'); -- c\n delete from t",
        "insert into t values(3, 'x')\0; drop table t"s,
    };
    for (const std::string& sql : refused) {
        for (SqlKind kind : {SqlKind::Write, SqlKind::Read}) {
            const ExecResult status = run(m_session, sql, kind);
            EXPECT_EQ(status.errorCode(), errc::kMultipleStatements) << sql;
            EXPECT_FALSE(detailOf(status).empty());
        }
    }
    EXPECT_EQ(all(), seededRows());

    // Trailing separators and comments are not a statement.
    const char* accepted[] = {
        "insert into t values(3, 'x');",
        "; insert into t values(4, 'y') ; ; -- done",
        "insert into t values(5, 'z') /* c */ ;\n",
    };
    for (const char* sql : accepted) {
        EXPECT_TRUE(run(m_session, sql).ok()) << sql;
    }
    EXPECT_EQ(all().size(), 5U);
}

TEST_F(SessionTest, EmptyOrCommentOnlyTextRunsNothing) {
    for (const char* sql : {"", "   ", "-- nothing", ";"}) {
        EXPECT_TRUE(run(m_session, sql).ok()) << sql;
        EXPECT_TRUE(query(m_session, sql).empty()) << sql;
    }
}

TEST_F(SessionTest, StoreErrorsPassCodeAndMessageAndKeepData) {
    seed();
    const struct {
        const char* sql;
        SqlKind kind;
        std::uint64_t code;
        const char* detail;
    } cases[] = {
        {"selec * from t", SqlKind::Read, 1, "near \"selec\": syntax error"},
        {"insert into nope values(1)", SqlKind::Write, 1, "no such table: nope"},
        {"select missing from t", SqlKind::Read, 1, "no such column: missing"},
        {"insert into t values(1, 'dup')", SqlKind::Write, 1555, "UNIQUE constraint failed: t.id"},
    };
    for (const auto& c : cases) {
        const ExecResult status = run(m_session, c.sql, c.kind);
        EXPECT_FALSE(status.ok()) << c.sql;
        EXPECT_EQ(status.errorCode(), c.code) << c.sql;
        EXPECT_EQ(detailOf(status), c.detail) << c.sql;
    }
    EXPECT_EQ(all(), seededRows());
}

}  // namespace
}  // namespace vorn::test

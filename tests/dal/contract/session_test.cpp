// The DataSession contract on any store: statements, reads and their rows.
// The text and the value of each kind of field: tests/e2e/reader_numbers_test.cpp.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "dal_fixture.h"

namespace vorn::test {
namespace {

using namespace std::string_literals;

using SessionTest = DalTest;

// fetchRow fills the row until the end of the read, which a new execute
// replaces; without a read, after a write (even of a statement that returns
// rows) and into a wrong target it fetches nothing.
TEST_F(SessionTest, FetchFillsTheRowUntilTheEndAndRefusesWrongTargets) {
    seed();
    DataSession s(m_session.c_str());
    Row row;
    ExecResult status;
    EXPECT_FALSE(s.fetchRow(status, rowTarget(row), 100));
    EXPECT_EQ(status.errorCode(), errc::kNoResult);

    open(s, "select name from t order by id");
    row.assign(5, platform::FieldValue("stale"));
    ASSERT_TRUE(s.fetchRow(status, rowTarget(row), 100));
    ASSERT_EQ(row.size(), 1U);  // resized to the column count
    EXPECT_EQ(row[0].str(), "one");
    TypedRef wrong = rowTarget(row);
    wrong.type.code = platform::typecode::kParamMap;
    EXPECT_FALSE(s.fetchRow(status, wrong, 100));
    EXPECT_EQ(status.errorCode(), errc::kBadParameters);
    EXPECT_FALSE(
        s.fetchRow(status, TypedRef{{platform::typecode::kRowTarget, 0, nullptr}, nullptr}, 1));
    EXPECT_EQ(status.errorCode(), errc::kBadParameters);
    EXPECT_EQ(fetchAll(s), (Rows{{"two"}}));  // the result is still there

    open(s, "select id * 10, name from t order by id");
    EXPECT_EQ(fetchAll(s), (Rows{{"10", "one"}, {"20", "two"}}));
    EXPECT_FALSE(s.fetchRow(status, rowTarget(row), 100));  // past the end, again
    EXPECT_TRUE(status.ok());

    ASSERT_TRUE(s.execute("id", SqlKind::Write, "select * from t", NoParameters{}).ok());
    EXPECT_FALSE(s.fetchRow(status, rowTarget(row), 100));
    EXPECT_EQ(status.errorCode(), errc::kNoResult);
}

// The numbers a read of series() gives from now on, up to most of them.
std::vector<long> readNumbers(DataSession& s, ExecResult& status, std::size_t most) {
    std::vector<long> numbers;
    Row row;
    while (numbers.size() < most && s.fetchRow(status, rowTarget(row), 100)) {
        numbers.push_back(std::strtol(row.at(0).str().c_str(), nullptr, 10));
    }
    return numbers;
}

std::vector<long> oneTo(long last) {
    std::vector<long> numbers;
    for (long n = 1; n <= last; ++n) {
        numbers.push_back(n);
    }
    return numbers;
}

// Any other call on the connection while reads are open (a bound write,
// another read, bound too, a transaction with a read in it) runs as it would
// without them, and each read goes on with exactly its own rows, each once
// and in order.
TEST_F(SessionTest, CallsBetweenTheRowsOfOpenReadsLeaveEachReadItsRows) {
    seed();
    DataSession first(m_session.c_str());
    DataSession second(m_session.c_str());
    ExecResult status;
    open(first, series(4000));
    std::vector<long> seen = readNumbers(first, status, 700);
    const platform::BoundParameters three{{"id", std::int64_t{3}}, {"name", "three"s}};
    ASSERT_TRUE(DataSession(m_session.c_str())
                    .execute("id", SqlKind::Write, "insert into t values({id}, {name})", three)
                    .ok());
    const std::vector<long> more = readNumbers(first, status, 700);
    seen.insert(seen.end(), more.begin(), more.end());
    const std::string boundSeries =
        "with recursive g(v) as (select 1 union all select v + 1 from g where v < {n}) "
        "select v from g";
    ASSERT_TRUE(second
                    .execute("id", SqlKind::Read, boundSeries,
                             platform::BoundParameters{{"n", std::int64_t{3000}}})
                    .ok());
    std::vector<long> secondSeen = readNumbers(second, status, 10);
    // Committed at once, though reads are open.
    EXPECT_EQ(queryElsewhere(m_session, "select count(*) from t"), (Rows{{"3"}}));
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(run(m_session, "insert into t values(4, 'four')").ok());
    EXPECT_EQ(query(m_session, "select count(*) from t"), (Rows{{"4"}}));
    ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
    for (DataSession* s : {&first, &second}) {
        std::vector<long>& numbers = s == &first ? seen : secondSeen;
        const std::vector<long> rest = readNumbers(*s, status, 10000);
        EXPECT_TRUE(status.ok()) << detailOf(status);
        numbers.insert(numbers.end(), rest.begin(), rest.end());
    }
    EXPECT_EQ(seen, oneTo(4000));
    EXPECT_EQ(secondSeen, oneTo(3000));
    EXPECT_EQ(queryElsewhere(m_session, "select * from t order by id"),
              (Rows{{"1", "one"}, {"2", "two"}, {"3", "three"}, {"4", "four"}}));
}

TEST_F(SessionTest, ExactlyOneStatementRuns) {
    seed();
    const std::string refused[] = {
        "insert into t values(3, 'x'); insert into t values(4, 'y')",
        "insert into t values(3, 'x');drop table t",
        "select 1; select 2",
        "insert into t values(3, 'x'); -- c\n delete from t",
        // A NUL byte does not end the text.
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

    // Trailing separators and comments are no statement; text of nothing else runs nothing.
    for (const char* sql :
         {"insert into t values(3, 'x');", "; insert into t values(4, 'y') ; ; -- .",
          "insert into t values(5, 'z') /* c */ ;\n"}) {
        EXPECT_TRUE(run(m_session, sql).ok()) << sql;
    }
    for (const char* sql : {"", "   ", "-- nothing", ";", "/* ; */ ;"}) {
        EXPECT_TRUE(run(m_session, sql).ok()) << sql;
        EXPECT_TRUE(query(m_session, sql).empty()) << sql;
    }
    EXPECT_EQ(all().size(), 5U);
}

}  // namespace
}  // namespace vorn::test

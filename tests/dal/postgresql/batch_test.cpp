// PostgreSQL batches, through each of the three ways a batch is sent: COPY (a
// plain INSERT of bare placeholders), one INSERT from arrays (any other
// one-row INSERT ... VALUES), or one prepared statement per row (anything else).
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <tuple>

#include "dal_fixture.h"

namespace vorn::test {
namespace {

using I = std::numeric_limits<std::int64_t>;
using U = std::numeric_limits<std::uint64_t>;

class PgBatch : public PgTest {
  protected:
    void prepare() override {
        ASSERT_TRUE(run(m_session, "create table u(id int8, name text unique)").ok());
        ASSERT_TRUE(run(m_session, "insert into u values (0, 'dup')").ok());
    }
    ExecResult insert(std::vector<std::int64_t> ids, std::vector<std::string> names,
                      const std::string& sql) {
        return batch(m_session, sql, Params().add("id", ids).add("name", names).ref());
    }
    Rows rowsOfU() const { return all("u"); }
    ExecResult clearU() const { return run(m_session, "delete from u where id > 0"); }

    const std::vector<std::string> m_forms = {"insert into u (id, name) values({id}, {name})",
                                              "insert into u (id, name) values({id}, ({name}))",
                                              "insert into u (id, name) select {id}, {name}"};
};

constexpr float kFloatInf = std::numeric_limits<float>::infinity();
constexpr double kDoubleInf = std::numeric_limits<double>::infinity();
// One row of each element type, at its limits and its hard cases.
const struct {
    const char* s;
    std::int64_t i;
    std::uint64_t u;
    float f;  // also into a double column: the float's exact value
    double d;
} kElementRows[] = {
    {"", I::min(), 0, 0.1F, 0.1},
    {"NULL", -1, I::max(), -1.5F, 1.0 / 3},
    {"null", 0, std::uint64_t{1} << 63, FLT_MAX, DBL_MAX},
    {"it's \"quoted\"", 1, U::max() - 1, FLT_MIN, DBL_MIN},
    {"back\\slash \\\\ \\\"", I::max(), U::max(), FLT_TRUE_MIN, 5e-324},
    {"{braces},{\"x\"}", 42, 1, 3.14159274F, -2.5e-310},
    {"a, b; c", -42, 2, -0.0F, -0.0},
    {"  blanks  ", 7, 3, 1e-40F, 123456789.123456789},
    {"h\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80", 8, 4, 16777217.0F, -kDoubleInf},
    {"{i} not a placeholder", 9, 5, kFloatInf, 9007199254740993.0},
    {"line\nbreak\ttab", 10, 6, 2.5F, 1e300},
};

TEST_F(PgBatch, EveryElementTypeRoundTripsExactly) {
    std::vector<std::int64_t> n, i;
    std::vector<std::string> s;
    std::vector<std::uint64_t> u;
    std::vector<float> f;
    std::vector<double> d;
    for (const auto& r : kElementRows) {
        n.push_back(static_cast<std::int64_t>(n.size()));
        s.emplace_back(r.s);
        i.push_back(r.i);
        u.push_back(r.u);
        f.push_back(r.f);
        d.push_back(r.d);
    }
    std::vector<float> fd = f;  // a column of its own: COPY takes bare, distinct placeholders
    Params params;
    params.add("n", n).add("s", s).add("i", i).add("u", u).add("f", f).add("d", d).add("fd", fd);
    ASSERT_TRUE(run(m_session,
                    "create table b(n int8, s text, i int8, u int8, f real, d float8, fd float8)")
                    .ok());
    for (const char* sql :
         {"insert into b (n, s, i, u, f, d, fd) values({n}, {s}, {i}, {u}, {f}, {d}, {fd})",
          "insert into b values({n}, {s}, {i}, {u}, {f}, {d}, {fd})",
          "insert into b select {n}, {s}, {i}, {u}, {f}, {d}, {fd}"}) {
        SCOPED_TRACE(sql);
        ASSERT_TRUE(run(m_session, "delete from b").ok());
        const ExecResult status = batch(m_session, sql, params.ref());
        ASSERT_TRUE(status.ok()) << detailOf(status);
        const Rows stored = all("b");
        ASSERT_EQ(stored.size(), std::size(kElementRows));
        for (std::size_t r = 0; r < stored.size(); ++r) {
            SCOPED_TRACE(r);
            const std::vector<std::string>& got = stored[r];
            const auto readF = static_cast<float>(std::strtod(got[4].c_str(), nullptr));
            const double readD = std::strtod(got[5].c_str(), nullptr);
            // u as the reader reads it; signs of zeros and infinities too.
            EXPECT_EQ(std::make_tuple(got[1], std::strtoll(got[2].c_str(), nullptr, 10),
                                      std::strtoul(got[3].c_str(), nullptr, 10), readF,
                                      std::signbit(readF), readD, std::signbit(readD),
                                      std::strtod(got[6].c_str(), nullptr)),
                      std::make_tuple(s[r], i[r], u[r], f[r], std::signbit(f[r]), d[r],
                                      std::signbit(d[r]), static_cast<double>(f[r])))
                << got[4] << " " << got[5] << " " << got[6];
        }
    }
}

// All rows or none, whatever fails (a unique key, or text with a NUL byte,
// which PostgreSQL cannot hold): outside a transaction, and inside the
// caller's one, which a failing batch does not end.
TEST_F(PgBatch, EveryFormIsAllRowsOrNone) {
    const struct {
        std::vector<std::string> names;
        const char* sqlstate;
        const char* detail;  // how the server's text starts
    } failures[] = {
        {{"a", "b", "dup", "c"}, "23505", "duplicate key value violates unique constraint"},
        {{"x", "y", "x"}, "23505", "duplicate key value violates unique constraint"},
        {{"a", std::string("b\0c", 3)}, "22021", ""},
    };
    for (const std::string& sql : m_forms) {
        SCOPED_TRACE(sql);
        for (const auto& f : failures) {
            const ExecResult status =
                insert(std::vector<std::int64_t>(f.names.size(), 5), f.names, sql);
            EXPECT_EQ(status.errorCode(), pgCode(f.sqlstate));
            EXPECT_FALSE(detailOf(status).empty());
            EXPECT_EQ(detailOf(status).rfind(f.detail, 0), 0U) << detailOf(status);
            EXPECT_EQ(rowsOfU(), (Rows{{"0", "dup"}}));
        }

        ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
        ASSERT_TRUE(run(m_session, "insert into u values (1, 'before')").ok());
        ASSERT_TRUE(insert({2, 3}, {"b", "c"}, sql).ok());
        EXPECT_EQ(insert({4, 5}, {"d", "dup"}, sql).errorCode(), pgCode("23505"));
        ASSERT_TRUE(insert({6}, {"e"}, sql).ok());
        EXPECT_EQ(rowsOfU().size(), 5U);
        EXPECT_EQ(queryElsewhere(m_session, "select count(*) from u"), (Rows{{"1"}}));
        ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
        EXPECT_EQ(rowsOfU(),
                  (Rows{{"0", "dup"}, {"1", "before"}, {"2", "b"}, {"3", "c"}, {"6", "e"}}));
        ASSERT_TRUE(clearU().ok());
    }
}

// Parameter types come from the statement: texts fill date and numeric
// columns, integers a boolean one, as they would in a written statement.
TEST_F(PgBatch, ValuesTakeTheTypesTheStatementGivesThem) {
    ASSERT_TRUE(run(m_session,
                    "create table t(n int8, at timestamp, amount numeric, flag boolean, "
                    "small int4, label varchar(10))")
                    .ok());
    std::vector<std::int64_t> n{1, 2};
    std::vector<std::string> at{"2024-02-29 12:34:56", "1999-12-31 23:59:59.5"};
    std::vector<double> amount{0.1, -12.5};
    std::vector<std::int64_t> flag{1, 0};
    std::vector<std::string> small{"7", "-8"};
    std::vector<std::string> label{"ten chars!", ""};
    const ExecResult status =
        batch(m_session, "insert into t values({n}, {at}, {amount}, {flag} <> 0, {small}, {label})",
              Params()
                  .add("n", n)
                  .add("at", at)
                  .add("amount", amount)
                  .add("flag", flag)
                  .add("small", small)
                  .add("label", label)
                  .ref());
    ASSERT_TRUE(status.ok()) << detailOf(status);
    EXPECT_EQ(all(), (Rows{{"1", "2024-02-29 12:34:56", "0.1", "true", "7", "ten chars!"},
                           {"2", "1999-12-31 23:59:59.5", "-12.5", "false", "-8", ""}}));
}

TEST_F(PgBatch, LargeBatchesArriveWhole) {
    constexpr std::size_t kRows = 150000;  // more than one chunk of the array form
    std::vector<std::int64_t> ids(kRows);
    std::vector<std::string> names(kRows);
    for (std::size_t r = 0; r < kRows; ++r) {
        ids[r] = static_cast<std::int64_t>(r + 1);
        names[r] = "name " + std::to_string(r + 1);
    }
    for (std::size_t form = 0; form < 2; ++form) {  // COPY, and arrays in chunks
        SCOPED_TRACE(m_forms[form]);
        names[kRows - 1] = "dup";  // the very last row fails: nothing stays
        EXPECT_EQ(insert(ids, names, m_forms[form]).errorCode(), pgCode("23505"));
        EXPECT_EQ(query(m_session, "select count(*) from u"), (Rows{{"1"}}));
        names[kRows - 1] = "last";
        const ExecResult status = insert(ids, names, m_forms[form]);
        ASSERT_TRUE(status.ok()) << detailOf(status);
        EXPECT_EQ(
            query(m_session, "select count(*), sum(id), max(name) from u where name <> 'dup'"),
            (Rows{{std::to_string(kRows), std::to_string(kRows * (kRows + 1) / 2), "name 99999"}}));
        ASSERT_TRUE(clearU().ok());
    }
}

// Where COPY would differ from INSERT, the batch is an INSERT: a rule turns
// the rows into something else, and a GENERATED ALWAYS identity refuses values.
TEST_F(PgBatch, TablesWhereCopyDiffersGetInserts) {
    ASSERT_TRUE(run(m_session, "create table target(id int8, name text)").ok());
    ASSERT_TRUE(run(m_session, "create table diverted(id int8, name text)").ok());
    ASSERT_TRUE(run(m_session,
                    "create rule divert as on insert to target do instead "
                    "insert into diverted values (new.id, new.name)")
                    .ok());
    ASSERT_TRUE(
        insert({1, 2}, {"a", "b"}, "insert into target (id, name) values({id}, {name})").ok());
    EXPECT_TRUE(all("target").empty());
    EXPECT_EQ(all("diverted"), (Rows{{"1", "a"}, {"2", "b"}}));

    ASSERT_TRUE(
        run(m_session, "create table identity(id int8 generated always as identity, name text)")
            .ok());
    const ExecResult refused =
        insert({1, 2}, {"a", "b"}, "insert into identity (id, name) values({id}, {name})");
    EXPECT_EQ(refused.errorCode(), pgCode("428C9")) << detailOf(refused);
    EXPECT_TRUE(all("identity").empty());
}

// A table recreated with other column types between two batches: the second
// batch still goes in, with the new types.
TEST_F(PgBatch, ATableChangedBetweenBatchesIsFollowed) {
    ASSERT_TRUE(run(m_session, "create table t(v int8)").ok());
    std::vector<std::string> values{"1", "2"};
    const std::string sql = "insert into t values({v})";
    ASSERT_TRUE(batch(m_session, sql, Params().add("v", values).ref()).ok());
    ASSERT_TRUE(run(m_session, "drop table t").ok());
    ASSERT_TRUE(run(m_session, "create table t(v date)").ok());
    values = {"2024-01-01", "2024-01-02"};
    const ExecResult status = batch(m_session, sql, Params().add("v", values).ref());
    ASSERT_TRUE(status.ok()) << detailOf(status);
    EXPECT_EQ(all(), (Rows{{"2024-01-01"}, {"2024-01-02"}}));
}

}  // namespace
}  // namespace vorn::test

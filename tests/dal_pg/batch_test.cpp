// Batches: every element type exactly, all rows or none, inside and outside
// the caller's transaction, through both ways a batch is sent.
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "pg_fixture.h"

namespace vorn::test {
namespace {

using I = std::numeric_limits<std::int64_t>;
using U = std::numeric_limits<std::uint64_t>;

class PgBatch : public PgTest {
  protected:
    void SetUp() override {
        PgTest::SetUp();
        if (!IsSkipped()) {
            m_u = freshTable("", "id int8, name text unique");
            ASSERT_TRUE(run(m_session, "insert into " + m_u + " values (0, 'dup')").ok());
        }
    }
    // Inserts (id, name) rows into u as one batch, through sql.
    ExecResult insert(std::vector<std::int64_t> ids, std::vector<std::string> names,
                      const std::string& sql) {
        return batch(m_session, sql, Params().add("id", ids).add("name", names).ref());
    }
    Rows rowsOfU() const { return all(m_u, "id, name"); }

    // The three ways a batch goes: COPY (a plain INSERT of bare placeholders),
    // one INSERT from arrays (any other one-row INSERT ... VALUES), or one
    // prepared statement per row (anything else).
    std::vector<std::string> insertForms() const {
        return {"insert into " + m_u + " (id, name) values({id}, {name})",
                "insert into " + m_u + " (id, name) values({id}, ({name}))",
                "insert into " + m_u + " (id, name) select {id}, {name}"};
    }

    std::string m_u;
};

TEST_F(PgBatch, EveryElementTypeRoundTripsExactly) {
    std::vector<std::string> s{"",
                               "NULL",
                               "null",
                               "it's \"quoted\"",
                               "back\\slash \\\\ \\\"",
                               "{braces},{\"x\"}",
                               "a, b; c",
                               "  blanks  ",
                               "h\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80",
                               "{i} not a placeholder",
                               "line\nbreak\ttab"};
    const std::size_t n = s.size();
    std::vector<std::int64_t> order(n);
    for (std::size_t r = 0; r < n; ++r) {
        order[r] = static_cast<std::int64_t>(r);
    }
    std::vector<std::int64_t> i{I::min(), -1, 0, 1, I::max(), 42, -42, 7, 8, 9, 10};
    std::vector<std::uint64_t> u{
        0, I::max(), std::uint64_t{1} << 63, U::max() - 1, U::max(), 1, 2, 3, 4, 5, 6};
    std::vector<float> f{
        0.1F,        -1.5F, FLT_MAX, FLT_MIN,     FLT_TRUE_MIN,
        3.14159274F, -0.0F, 1e-40F,  16777217.0F, std::numeric_limits<float>::infinity(),
        2.5F};
    std::vector<double> d{0.1,
                          1.0 / 3,
                          DBL_MAX,
                          DBL_MIN,
                          5e-324,
                          -2.5e-310,
                          -0.0,
                          123456789.123456789,
                          -std::numeric_limits<double>::infinity(),
                          9007199254740993.0,
                          1e300};
    std::vector<float> fd = f;  // floats into a double column: the float's exact value
    const std::string b = freshTable("",
                                     "n int8, s text, i int8, u int8, f real, d float8, "
                                     "fd float8");
    for (const std::string& sql :
         {"insert into " + b + " (n, s, i, u, f, d, fd) values({n}, {s}, {i}, {u}, {f}, {d}, {fd})",
          "insert into " + b + " values({n}, {s}, {i}, {u}, {f}, {d}, {fd})",
          "insert into " + b + " select {n}, {s}, {i}, {u}, {f}, {d}, {fd}"}) {
        SCOPED_TRACE(sql);
        ASSERT_TRUE(run(m_session, "delete from " + b).ok());
        const ExecResult status = batch(m_session, sql,
                                        Params()
                                            .add("n", order)
                                            .add("s", s)
                                            .add("i", i)
                                            .add("u", u)
                                            .add("f", f)
                                            .add("d", d)
                                            .add("fd", fd)
                                            .ref());
        ASSERT_TRUE(status.ok()) << detailOf(status);
        const Rows rows = all(b);
        ASSERT_EQ(rows.size(), n);
        for (std::size_t r = 0; r < n; ++r) {
            SCOPED_TRACE(r);
            EXPECT_EQ(rows[r][1], s[r]);
            EXPECT_EQ(std::strtoll(rows[r][2].c_str(), nullptr, 10), i[r]);
            EXPECT_EQ(std::strtoul(rows[r][3].c_str(), nullptr, 10),
                      u[r]);  // as the reader reads it
            const float readF = static_cast<float>(std::strtod(rows[r][4].c_str(), nullptr));
            EXPECT_EQ(readF, f[r]) << rows[r][4];
            EXPECT_EQ(std::signbit(readF), std::signbit(f[r])) << rows[r][4];
            const double readD = std::strtod(rows[r][5].c_str(), nullptr);
            EXPECT_EQ(readD, d[r]) << rows[r][5];
            EXPECT_EQ(std::signbit(readD), std::signbit(d[r])) << rows[r][5];
            EXPECT_EQ(std::strtod(rows[r][6].c_str(), nullptr), static_cast<double>(fd[r]))
                << rows[r][6];
        }
        EXPECT_EQ(rows[4][3], "-1");  // 2^64 - 1 is stored as the int8 of the same bits
    }
}

TEST_F(PgBatch, AFailingRowLeavesNoRowOfTheBatch) {
    for (const std::string& sql : insertForms()) {
        SCOPED_TRACE(sql);
        const struct {
            std::vector<std::string> names;
        } cases[] = {
            {{"a", "b", "dup", "c"}},  // clashes with an existing row
            {{"x", "y", "x"}},         // clashes within the batch
        };
        for (const auto& c : cases) {
            std::vector<std::int64_t> ids(c.names.size(), 5);
            const ExecResult status = insert(ids, c.names, sql);
            EXPECT_EQ(status.errorCode(), pgCode("23505"));
            EXPECT_EQ(detailOf(status).rfind("duplicate key value violates unique constraint", 0),
                      0U)
                << detailOf(status);
            EXPECT_EQ(rowsOfU(), (Rows{{"0", "dup"}}));
        }
        ASSERT_TRUE(insert({1, 2}, {"a", "b"}, sql).ok());  // usable afterwards
        ASSERT_TRUE(run(m_session, "delete from " + m_u + " where id > 0").ok());
    }
}

TEST_F(PgBatch, ABatchJoinsTheCallersTransaction) {
    for (const std::string& sql : insertForms()) {
        SCOPED_TRACE(sql);
        ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
        ASSERT_TRUE(run(m_session, "insert into " + m_u + " values (1, 'before')").ok());
        ASSERT_TRUE(insert({2, 3}, {"b", "c"}, sql).ok());
        EXPECT_EQ(rowsOfU().size(), 4U);
        ASSERT_TRUE(DataSession(m_session.c_str()).rollback().ok());
        EXPECT_EQ(rowsOfU(), (Rows{{"0", "dup"}}));

        // A failing batch undoes its own rows only; the transaction goes on.
        ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
        ASSERT_TRUE(run(m_session, "insert into " + m_u + " values (1, 'before')").ok());
        EXPECT_EQ(insert({2, 3}, {"b", "dup"}, sql).errorCode(), pgCode("23505"));
        ASSERT_TRUE(insert({4}, {"d"}, sql).ok());
        ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
        EXPECT_EQ(rowsOfU(), (Rows{{"0", "dup"}, {"1", "before"}, {"4", "d"}}));
        ASSERT_TRUE(run(m_session, "delete from " + m_u + " where id > 0").ok());
    }
}

// Parameter types come from the statement: texts fill date and numeric
// columns, integers a boolean one, as they would in a written statement.
TEST_F(PgBatch, ValuesTakeTheTypesTheStatementGivesThem) {
    const std::string t = freshTable("",
                                     "n int8, at timestamp, amount numeric, flag boolean, "
                                     "small int4, label varchar(10)");
    std::vector<std::int64_t> n{1, 2};
    std::vector<std::string> at{"2024-02-29 12:34:56", "1999-12-31 23:59:59.5"};
    std::vector<double> amount{0.1, -12.5};
    std::vector<std::int64_t> flag{1, 0};
    std::vector<std::string> small{"7", "-8"};
    std::vector<std::string> label{"ten chars!", ""};
    const ExecResult status =
        batch(m_session,
              "insert into " + t + " values({n}, {at}, {amount}, {flag} <> 0, {small}, {label})",
              Params()
                  .add("n", n)
                  .add("at", at)
                  .add("amount", amount)
                  .add("flag", flag)
                  .add("small", small)
                  .add("label", label)
                  .ref());
    ASSERT_TRUE(status.ok()) << detailOf(status);
    EXPECT_EQ(all(t), (Rows{{"1", "2024-02-29 12:34:56", "0.1", "true", "7", "ten chars!"},
                            {"2", "1999-12-31 23:59:59.5", "-12.5", "false", "-8", ""}}));
}

TEST_F(PgBatch, OtherStatementsRunOncePerRow) {
    std::vector<std::int64_t> ids{0, 1};
    std::vector<std::string> names{"renamed", "nobody"};
    const ExecResult status =
        batch(m_session, "update " + m_u + " set name = {name} where id = {id}",
              Params().add("id", ids).add("name", names).ref());
    ASSERT_TRUE(status.ok()) << detailOf(status);
    EXPECT_EQ(rowsOfU(), (Rows{{"0", "renamed"}}));
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
        const std::string sql = insertForms()[form];
        SCOPED_TRACE(sql);
        names[kRows - 1] = "dup";  // the very last row fails: nothing stays
        EXPECT_EQ(insert(ids, names, sql).errorCode(), pgCode("23505"));
        EXPECT_EQ(query(m_session, "select count(*) from " + m_u), (Rows{{"1"}}));
        names[kRows - 1] = "last";
        const ExecResult status = insert(ids, names, sql);
        ASSERT_TRUE(status.ok()) << detailOf(status);
        EXPECT_EQ(
            query(m_session,
                  "select count(*), sum(id), max(name) from " + m_u + " where name <> 'dup'"),
            (Rows{{std::to_string(kRows), std::to_string(kRows * (kRows + 1) / 2), "name 99999"}}));
        ASSERT_TRUE(run(m_session, "delete from " + m_u + " where id > 0").ok());
    }
}

// Where COPY would differ from INSERT, the batch is an INSERT: a rule turns
// the rows into something else, and a GENERATED ALWAYS identity refuses values.
TEST_F(PgBatch, TablesWhereCopyDiffersGetInserts) {
    const std::string target = freshTable("", "id int8, name text");
    const std::string diverted = freshTable("_diverted", "id int8, name text");
    ASSERT_TRUE(run(m_session, "create rule divert as on insert to " + target +
                                   " do instead insert into " + diverted +
                                   " values (new.id, new.name)")
                    .ok());
    std::vector<std::int64_t> ids{1, 2};
    std::vector<std::string> names{"a", "b"};
    ASSERT_TRUE(batch(m_session, "insert into " + target + " (id, name) values({id}, {name})",
                      Params().add("id", ids).add("name", names).ref())
                    .ok());
    EXPECT_TRUE(all(target).empty());
    EXPECT_EQ(all(diverted), (Rows{{"1", "a"}, {"2", "b"}}));

    const std::string identity =
        freshTable("_identity", "id int8 generated always as identity, name text");
    const ExecResult refused =
        batch(m_session, "insert into " + identity + " (id, name) values({id}, {name})",
              Params().add("id", ids).add("name", names).ref());
    EXPECT_EQ(refused.errorCode(), pgCode("428C9")) << detailOf(refused);
    EXPECT_TRUE(all(identity).empty());
}

TEST_F(PgBatch, RefusalsLeaveNothingBehind) {
    const struct {
        const char* what;
        std::vector<std::string> names;
        std::string sql;
        std::uint64_t code;
    } cases[] = {
        {"text with a NUL byte", {"a", std::string("b\0c", 3)}, insertForms()[0], pgCode("22021")},
        {"two statements",
         {"a", "b"},
         "insert into " + m_u + " values({id}, {name}); delete from " + m_u,
         errc::kMultipleStatements},
        {"missing table",
         {"a", "b"},
         "insert into no_such_table_here values({id}, {name})",
         pgCode("42P01")},
        {"missing table, empty batch",
         {},
         "insert into no_such_table_here values({id}, {name})",
         pgCode("42P01")},
    };
    for (const auto& c : cases) {
        std::vector<std::int64_t> ids(c.names.size(), 9);
        const ExecResult status = insert(ids, c.names, c.sql);
        EXPECT_EQ(status.errorCode(), c.code) << c.what << ": " << detailOf(status);
        EXPECT_FALSE(detailOf(status).empty()) << c.what;
        EXPECT_EQ(rowsOfU(), (Rows{{"0", "dup"}})) << c.what;
    }
}

// A table recreated with other column types between two batches: the second
// batch still goes in, with the new types.
TEST_F(PgBatch, ATableChangedBetweenBatchesIsFollowed) {
    const std::string t = freshTable("", "v int8");
    std::vector<std::string> values{"1", "2"};
    const std::string sql = "insert into " + t + " values({v})";
    ASSERT_TRUE(batch(m_session, sql, Params().add("v", values).ref()).ok());
    ASSERT_TRUE(run(m_session, "drop table " + t).ok());
    ASSERT_TRUE(run(m_session, "create table " + t + " (v date)").ok());
    values = {"2024-01-01", "2024-01-02"};
    const ExecResult status = batch(m_session, sql, Params().add("v", values).ref());
    ASSERT_TRUE(status.ok()) << detailOf(status);
    EXPECT_EQ(all(t), (Rows{{"2024-01-01"}, {"2024-01-02"}}));
}

}  // namespace
}  // namespace vorn::test

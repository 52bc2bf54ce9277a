#include <cfloat>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>

#include "dal_fixture.h"
#include "vorn/platform/type_registry.h"

namespace vorn::test {
namespace {

namespace typecode = platform::typecode;

// A parameter set over vectors the test owns, made as the executor makes it.
struct Params {
    template <class T>
    Params& add(const std::string& key, std::vector<T>& column) {
        TypedRef& ref = map[key];
        platform::TypeRegistry::registerVectorType<std::vector<T>>(ref.type, typecode::kContainer,
                                                                   "std::vector", 0);
        ref.type.flags |= platform::kFlagReference;
        ref.object = &column;
        return *this;
    }
    TypedRef ref() {
        return TypedRef{{typecode::kParamMap, platform::kFlagReference, nullptr}, &map};
    }
    platform::ParamRefMap map;
};

ExecResult batch(const std::string& session, const std::string& sql, const TypedRef& params,
                 SqlKind kind = SqlKind::Batch) {
    DataSession s(session.c_str());
    return s.execute("dal_test:batch:0", kind, sql, params);
}

class BatchTest : public DalTest {
  protected:
    void SetUp() override {
        DalTest::SetUp();
        ASSERT_TRUE(run(m_session, "create table u(id integer, name text unique)").ok());
        ASSERT_TRUE(run(m_session, "insert into u values(0, 'dup')").ok());
    }
    // Inserts (id, name) rows into u as one batch.
    ExecResult insert(std::vector<std::int64_t> ids, std::vector<std::string> names) {
        return batch(m_session, "insert into u(id, name) values({id}, {name})",
                     Params().add("id", ids).add("name", names).ref());
    }
    Rows rowsOfU() const { return query(m_session, "select id, name from u order by id"); }
};

TEST_F(BatchTest, EveryElementTypeRoundTripsExactly) {
    using I = std::numeric_limits<std::int64_t>;
    using U = std::numeric_limits<std::uint64_t>;
    std::vector<std::string> s{"", "it's \"quoted\"", "{i} not a placeholder",
                               "\xC3\xA9\xFF\x01\x7F high", "a; drop table u; --"};
    std::vector<std::int64_t> i{I::min(), -1, 0, 1, I::max()};
    std::vector<std::uint64_t> u{0, I::max(), std::uint64_t{1} << 63, U::max() - 1, U::max()};
    std::vector<float> f{0.1F, -1.5F, FLT_MAX, FLT_TRUE_MIN, 3.14159274F};
    std::vector<double> d{0.1, 1.0 / 3, DBL_MAX, 5e-324, -2.5};
    ASSERT_TRUE(
        run(m_session, "create table b(s text, i integer, u integer, f real, d real)").ok());
    const ExecResult status =
        batch(m_session, "insert into b values({s}, {i}, {u}, {f}, {d})",
              Params().add("s", s).add("i", i).add("u", u).add("f", f).add("d", d).ref());
    ASSERT_TRUE(status.ok()) << detailOf(status);

    const Rows rows = query(m_session, "select * from b order by rowid");
    ASSERT_EQ(rows.size(), 5U);
    for (std::size_t r = 0; r < rows.size(); ++r) {
        SCOPED_TRACE(r);
        EXPECT_EQ(rows[r][0], s[r]);
        EXPECT_EQ(std::strtoll(rows[r][1].c_str(), nullptr, 10), i[r]);
        EXPECT_EQ(std::strtoul(rows[r][2].c_str(), nullptr, 10), u[r]);  // as the reader reads it
        EXPECT_EQ(static_cast<float>(std::strtod(rows[r][3].c_str(), nullptr)), f[r]);
        EXPECT_EQ(std::strtod(rows[r][4].c_str(), nullptr), d[r]);
    }
    EXPECT_EQ(rows[4][2], "-1");  // 2^64 - 1 is stored as the int64 of the same bits
}

TEST_F(BatchTest, QuotedPlaceholdersStayTextAndRepeatedKeysBindOneColumn) {
    std::vector<std::int64_t> id{7, 8};
    ASSERT_TRUE(run(m_session, "create table p(a, b, c)").ok());
    ASSERT_TRUE(batch(m_session, "insert into p values('{id}', {id} /* {x} */, {id} * 2) -- {y}",
                      Params().add("id", id).ref())
                    .ok());
    EXPECT_EQ(query(m_session, "select * from p order by b"),
              (Rows{{"{id}", "7", "14"}, {"{id}", "8", "16"}}));
}

TEST_F(BatchTest, FailingRowLeavesNoRowOfTheBatch) {
    const struct {
        std::vector<std::string> names;
    } cases[] = {
        {{"a", "b", "dup", "c"}},  // clashes with an existing row
        {{"x", "y", "x"}},         // clashes within the batch
    };
    for (const auto& c : cases) {
        std::vector<std::int64_t> ids(c.names.size(), 5);
        const ExecResult status = insert(ids, c.names);
        EXPECT_EQ(status.errorCode(), 2067U);  // SQLITE_CONSTRAINT_UNIQUE
        EXPECT_EQ(detailOf(status), "UNIQUE constraint failed: u.name");
        EXPECT_EQ(rowsOfU(), (Rows{{"0", "dup"}}));
    }
    EXPECT_TRUE(insert({1, 2}, {"a", "b"}).ok());  // the session is usable afterwards
    EXPECT_EQ(rowsOfU().size(), 3U);
}

TEST_F(BatchTest, BatchJoinsTheCallersTransaction) {
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(run(m_session, "insert into u values(1, 'before')").ok());
    ASSERT_TRUE(insert({2, 3}, {"b", "c"}).ok());
    ASSERT_TRUE(DataSession(m_session.c_str()).rollback().ok());
    EXPECT_EQ(rowsOfU(), (Rows{{"0", "dup"}}));

    // A failing batch undoes its own rows only; the transaction goes on.
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(run(m_session, "insert into u values(1, 'before')").ok());
    EXPECT_EQ(insert({2, 3}, {"b", "dup"}).errorCode(), 2067U);
    ASSERT_TRUE(insert({4}, {"d"}).ok());
    ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
    EXPECT_EQ(rowsOfU(), (Rows{{"0", "dup"}, {"1", "before"}, {"4", "d"}}));
}

TEST_F(BatchTest, MalformedParameterSetsAreRefusedBeforeAnythingRuns) {
    std::vector<std::int64_t> ids{1, 2, 3};
    std::vector<std::string> names{"a", "b"};
    std::vector<std::string> threeNames{"a", "b", "c"};
    const std::string sql = "insert into u(id, name) values({id}, {name})";
    const struct {
        const char* what;
        std::function<ExecResult()> call;
        std::uint64_t code;
    } cases[] = {
        {"unequal columns",
         [&] { return batch(m_session, sql, Params().add("id", ids).add("name", names).ref()); },
         errc::kBadParameters},
        {"unknown placeholder",
         [&] {
             return batch(m_session, "insert into u values({id}, {nmae})",
                          Params().add("id", ids).add("name", threeNames).ref());
         },
         errc::kUnknownPlaceholder},
        {"two statements",
         [&] {
             return batch(m_session, "insert into u values({id}, 'q'); delete from u",
                          Params().add("id", ids).ref());
         },
         errc::kMultipleStatements},
        {"read kind",
         [&] {
             return batch(m_session, sql, Params().add("id", ids).add("name", threeNames).ref(),
                          SqlKind::Read);
         },
         errc::kBadParameters},
        {"empty map", [&] { return batch(m_session, sql, Params().ref()); }, errc::kBadParameters},
        {"not a map",
         [&] {
             Params p;
             p.add("id", ids);
             return batch(m_session, sql, p.map.begin()->second);
         },
         errc::kBadParameters},
        {"column not a container",
         [&] {
             Params p;
             p.map["id"] = TypedRef{{typecode::kString, 0, nullptr}, &names};
             return batch(m_session, sql, p.ref());
         },
         errc::kBadParameters},
    };
    for (const auto& c : cases) {
        const ExecResult status = c.call();
        EXPECT_EQ(status.errorCode(), c.code) << c.what;
        EXPECT_FALSE(detailOf(status).empty()) << c.what;
    }
    EXPECT_EQ(rowsOfU(), (Rows{{"0", "dup"}}));
}

TEST_F(BatchTest, EmptyColumnsRunNothingButStillCheckTheStatement) {
    EXPECT_TRUE(insert({}, {}).ok());
    std::vector<std::int64_t> none;
    EXPECT_EQ(batch(m_session, "insert into nope values({id})", Params().add("id", none).ref())
                  .errorCode(),
              1U);
    EXPECT_EQ(rowsOfU(), (Rows{{"0", "dup"}}));
}

}  // namespace
}  // namespace vorn::test

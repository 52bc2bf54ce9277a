#include <cstdint>
#include <functional>

#include "dal_fixture.h"
#include "vorn/platform/type_registry.h"

namespace vorn::test {
namespace {

namespace typecode = platform::typecode;

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

TEST_F(BatchTest, QuotedPlaceholdersStayTextAndRepeatedKeysBindOneColumn) {
    std::vector<std::int64_t> id{7, 8};
    ASSERT_TRUE(run(m_session, "create table p(a, b, c)").ok());
    ASSERT_TRUE(batch(m_session, "insert into p values('{id}', {id} /* {x} */, {id} * 2) -- {y}",
                      Params().add("id", id).ref())
                    .ok());
    EXPECT_EQ(query(m_session, "select * from p order by b"),
              (Rows{{"{id}", "7", "14"}, {"{id}", "8", "16"}}));
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

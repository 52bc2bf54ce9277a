// The DataSession contract on any store: batches of rows bound from columns
// (the values they store: tests/e2e/batch_exec_test.cpp).
#include <cstdint>
#include <functional>

#include "dal_fixture.h"

namespace vorn::test {
namespace {

namespace typecode = platform::typecode;

class BatchTest : public DalTest {
  protected:
    void prepare() override {
        ASSERT_TRUE(run(m_session, "create table u(id integer, name text unique)").ok());
        ASSERT_TRUE(run(m_session, "insert into u values(0, 'dup')").ok());
    }
    Rows rowsOfU() const { return all("u"); }
};

TEST_F(BatchTest, QuotedPlaceholdersStayTextAndRepeatedKeysBindOneColumn) {
    std::vector<std::int64_t> id{7, 8};
    ASSERT_TRUE(run(m_session, "create table p(a text, b integer, c integer)").ok());
    const ExecResult status =
        batch(m_session, "insert into p values('{id}', {id} /* {x} */, {id} * 2) -- {y}",
              Params().add("id", id).ref());
    ASSERT_TRUE(status.ok()) << detailOf(status);
    EXPECT_EQ(query(m_session, "select * from p order by b"),
              (Rows{{"{id}", "7", "14"}, {"{id}", "8", "16"}}));
}

TEST_F(BatchTest, StatementsOtherThanInsertRunOncePerRow) {
    std::vector<std::int64_t> ids{0, 1};
    std::vector<std::string> names{"renamed", "nobody"};
    const ExecResult status = batch(m_session, "update u set name = {name} where id = {id}",
                                    Params().add("id", ids).add("name", names).ref());
    ASSERT_TRUE(status.ok()) << detailOf(status);
    EXPECT_EQ(rowsOfU(), (Rows{{"0", "renamed"}}));
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
    std::vector<std::int64_t> none;
    std::vector<std::string> noNames;
    EXPECT_TRUE(batch(m_session, "insert into u values({id}, {name})",
                      Params().add("id", none).add("name", noNames).ref())
                    .ok());
    const ExecResult status =
        batch(m_session, "insert into nope values({id})", Params().add("id", none).ref());
    EXPECT_EQ(status.errorCode(), dialect().missingTable) << detailOf(status);
    EXPECT_EQ(rowsOfU(), (Rows{{"0", "dup"}}));
}

}  // namespace
}  // namespace vorn::test

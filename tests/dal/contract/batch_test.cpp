// The DataSession contract on any store: batches of rows bound from columns
// (the values they store: tests/e2e/batch_exec_test.cpp).
#include <cstdint>

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
    Params unequal, full, idsOnly, none, notContainer;
    unequal.add("id", ids).add("name", names);
    full.add("id", ids).add("name", threeNames);
    idsOnly.add("id", ids);
    notContainer.map["id"] = TypedRef{{typecode::kString, 0, nullptr}, &names};
    const std::string sql = "insert into u(id, name) values({id}, {name})";
    const struct {
        const char* what;
        std::string sql;
        TypedRef params;
        std::uint64_t code;
        SqlKind kind = SqlKind::Batch;
    } cases[] = {
        {"unequal columns", sql, unequal.ref(), errc::kBadParameters},
        {"unknown placeholder", "insert into u values({id}, {nmae})", full.ref(),
         errc::kUnknownPlaceholder},
        {"two statements", "insert into u values({id}, 'q'); delete from u", idsOnly.ref(),
         errc::kMultipleStatements},
        {"read kind", sql, full.ref(), errc::kBadParameters, SqlKind::Read},
        {"empty map", sql, none.ref(), errc::kBadParameters},
        {"not a map", sql, idsOnly.map.at("id"), errc::kBadParameters},
        {"column not a container", sql, notContainer.ref(), errc::kBadParameters},
    };
    for (const auto& c : cases) {
        const ExecResult status = batch(m_session, c.sql, c.params, c.kind);
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

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "render_case.h"
#include "vorn/base.h"
#include "vorn/criterion.h"
#include "vorn/sqlite_util.h"

namespace {

// Exposes the base's fields and calls its own bodies of the three operations.
class BaseBodies : public CVORNBase {
  public:
    CVORNTable table(const std::string& name) override { return CVORNBase::table(name); }
    std::string toString() const override { return CVORNBase::toString(); }
    void clear() override { CVORNBase::clear(); }
    const std::string& tableName() const { return m_table; }
    const std::string& tableList() const { return m_tableList; }
    void fillAttachAndDetach() { m_attachSQL = m_detachSQL = "x"; }
    bool attachAndDetachEmpty() const { return m_attachSQL.empty() && m_detachSQL.empty(); }
};

class RawStatement : public CVORNsqlstr {
  public:
    const std::string& tableList() const { return m_tableList; }
};

TEST(StatementBase, BaseBodiesRecordTheTableRenderNothingAndClearOnlyTheTable) {
    BaseBodies base;
    EXPECT_EQ(base.table("alarm").getTableName(), "alarm");
    EXPECT_EQ(base.tableName(), "alarm");
    EXPECT_EQ(base.toString(), "");
    base.constructAttachAndDetachSQL(CVORNTable("device"));
    base.clear();
    EXPECT_EQ(base.tableName(), "");
    EXPECT_EQ(base.tableList(), "device");
}

struct TableListCase {
    std::string name;
    std::vector<std::string> tables;
    std::string expected;
};

class TableList : public ::testing::TestWithParam<TableListCase> {};

TEST_P(TableList, KeepsEachNameNotAlreadyContainedInTheList) {
    BaseBodies base;
    for (const auto& table : GetParam().tables) {
        base.fillAttachAndDetach();
        base.constructAttachAndDetachSQL(CVORNTable(table));
        EXPECT_TRUE(base.attachAndDetachEmpty());
    }
    EXPECT_EQ(base.tableList(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Names, TableList,
    ::testing::Values(TableListCase{"Repeated", {"a", "b", "a"}, "a,b"},
                      TableListCase{"ContainedAfterLonger", {"ab", "a"}, "ab"},
                      TableListCase{"LongerAfterContained", {"a", "ab"}, "a,ab"},
                      TableListCase{"TaskAfterTaskinfo", {"taskinfo", "task"}, "taskinfo"},
                      TableListCase{"EmptyFirst", {"", "alarm"}, "alarm"},
                      TableListCase{"EmptyLater", {"alarm", ""}, "alarm"},
                      TableListCase{"ThreeTables", {"alarm", "device", "alarm"}, "alarm,device"}),
    vorn::test::CaseName());

TEST(RawStatement, RendersItsTextVerbatimAndNothingElse) {
    RawStatement raw;
    EXPECT_EQ(raw.toString(), "");
    raw.assign("  select 1 ;  ");
    raw.table("t");
    raw.where(CVORNCriterion("(a=1)"));
    EXPECT_EQ(raw.toString(), "  select 1 ;  ");
    EXPECT_EQ(raw.tableList(), "t");
    raw.clear();
    EXPECT_EQ(raw.toString(), "");
    EXPECT_EQ(raw.tableList(), "t");
}

TEST(Column, RendersQualifiedTextOnlyWithATable) {
    const CVORNColumn qualified("alarm", "level");
    EXPECT_EQ(qualified.toString(), "alarm.level");
    EXPECT_EQ(qualified.getColumnName(), ".level");
    EXPECT_EQ(qualified.getTableName(), "alarm");
    const CVORNColumn bare("", "x");
    EXPECT_EQ(bare.toString(), "");
    EXPECT_EQ(bare.getColumnName(), "");
    EXPECT_EQ(CVORNTable("t").column("o'x").toString(), "t.o'x");
}

TEST(Table, SubscriptQualifiesAndEscapesOnlyTheColumn) {
    EXPECT_EQ(CVORNTable("alarm")["level"].toString(), "alarm.level");
    EXPECT_EQ(CVORNTable("alarm")["it's"].toString(), "alarm.it''s");
    EXPECT_EQ(CVORNTable("a'b")["c"].toString(), "a'b.c");
    EXPECT_EQ(CVORNTable("")["x"].toString(), "");
    EXPECT_EQ(CVORNTable("alarm").getTableName(), "alarm");
}

TEST(NullMarker, ConvertsToFalse) {
    EXPECT_FALSE(static_cast<bool>(CVORNNull()));
}

TEST(Escaping, DoublesSingleQuotesOnly) {
    CSQLiteUtil* util = CSQLiteUtil::getInstance();
    ASSERT_NE(util, nullptr);
    EXPECT_EQ(util->replaceSpecialChar('\''), "''");
    EXPECT_EQ(util->replaceSpecialChar('a'), "a");
    EXPECT_EQ(util->replaceSpecialChar('\0'), std::string(1, '\0'));
    EXPECT_EQ(util->replaceSpecialChar(std::string("it's")), "it''s");
    EXPECT_EQ(util->replaceSpecialChar(std::string("''")), "''''");
    EXPECT_EQ(util->replaceSpecialChar(std::string()), "");
    EXPECT_EQ(util->replaceSpecialChar(std::string("a\"b\\c%_")), "a\"b\\c%_");
}

TEST(Escaping, EveryThreadSeesTheSameInstance) {
    std::vector<CSQLiteUtil*> seen(4, nullptr);
    std::vector<std::thread> threads;
    threads.reserve(seen.size());
    for (auto& slot : seen) {
        threads.emplace_back([&slot] { slot = CSQLiteUtil::getInstance(); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (auto* instance : seen) {
        EXPECT_EQ(instance, CSQLiteUtil::getInstance());
    }
}

}  // namespace

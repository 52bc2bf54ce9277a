#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "render_case.h"
#include "vorn/base.h"
#include "vorn/criterion.h"
#include "vorn/sqlite_util.h"

namespace {

// Calls the base's own bodies and shows its fields.
class BaseBodies : public CVORNBase {
  public:
    CVORNTable table(const std::string& name) override { return CVORNBase::table(name); }
    std::string toString() const override { return CVORNBase::toString(); }
    void clear() override { CVORNBase::clear(); }
    std::string fields() const {
        return m_table + "|" + m_attachSQL + "|" + m_detachSQL + "|" + m_tableList;
    }
    void frame() { m_attachSQL = m_detachSQL = "x"; }
};

class RawStatement : public CVORNsqlstr {
  public:
    const std::string& tableList() const { return m_tableList; }
};

TEST(StatementBase, BaseBodiesRecordTheTableRenderNothingAndClearOnlyTheTable) {
    BaseBodies base;
    EXPECT_EQ(base.table("alarm").getTableName(), "alarm");
    EXPECT_EQ(base.toString(), "");
    base.frame();
    base.constructAttachAndDetachSQL(CVORNTable("device"));
    EXPECT_EQ(base.fields(), "alarm|||device");
    base.clear();
    EXPECT_EQ(base.fields(), "|||device");
}

struct TableListCase {
    std::string name;
    std::vector<std::string> tables;
    std::string expected;
};

class TableList : public ::testing::TestWithParam<TableListCase> {};

TEST_P(TableList, AddsOnlyNamesNotContainedInTheList) {
    BaseBodies base;
    for (const auto& table : GetParam().tables) {
        base.constructAttachAndDetachSQL(CVORNTable(table));
    }
    EXPECT_EQ(base.fields(), "|||" + GetParam().expected);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Names, TableList, ::testing::Values(
    TableListCase{"Repeated", {"alarm", "device", "alarm"}, "alarm,device"},
    TableListCase{"ContainedAfterLonger", {"ab", "a"}, "ab"},
    TableListCase{"LongerAfterContained", {"a", "ab"}, "a,ab"},
    TableListCase{"TaskAfterTaskinfo", {"taskinfo", "task"}, "taskinfo"},
    TableListCase{"EmptyNames", {"", "alarm", ""}, "alarm"}), vorn::test::CaseName());
// clang-format on

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
}

TEST(TablesAndColumns, QualifyOnlyWithATableName) {
    EXPECT_EQ(CVORNColumn("alarm", "level").toString(), "alarm.level");
    EXPECT_EQ(CVORNColumn("alarm", "level").getColumnName(), ".level");
    EXPECT_EQ(CVORNColumn("", "x").toString(), "");
    EXPECT_EQ(CVORNColumn("", "x").getColumnName(), "");
    EXPECT_EQ(CVORNTable("t").column("o'x").toString(), "t.o'x");
    EXPECT_EQ(CVORNTable("alarm")["it's"].toString(), "alarm.it''s");
    EXPECT_EQ(CVORNTable("a'b")["c"].toString(), "a'b.c");
    EXPECT_EQ(CVORNTable("")["x"].toString(), "");
    EXPECT_FALSE(static_cast<bool>(CVORNNull()));
}

TEST(Escaping, DoublesSingleQuotesOnly) {
    CSQLiteUtil* util = CSQLiteUtil::getInstance();
    EXPECT_EQ(util->replaceSpecialChar('\''), "''");
    EXPECT_EQ(util->replaceSpecialChar('\0'), std::string(1, '\0'));
    EXPECT_EQ(util->replaceSpecialChar(std::string("it's ''")), "it''s ''''");
    EXPECT_EQ(util->replaceSpecialChar(std::string("a\"b\\c%_")), "a\"b\\c%_");
    EXPECT_EQ(util->replaceSpecialChar(std::string()), "");
}

}  // namespace

#include "vorn/selector.h"

#include <gtest/gtest.h>

#include <string>

#include "render_case.h"
#include "vorn/criterion.h"

namespace {

using Case = vorn::test::RenderCase<CVORNSelector>;
using S = CVORNSelector;

CVORNSelector otherSelect(const std::string& table) {
    CVORNSelector other;
    other.table(table);
    other.select("id");
    return other;
}

const Case kCases[] = {
    {"NoTable", [](S&) {}, "select  *  from "},
    {"AllColumns", [](S& s) { s.table("alarm"); }, "select  *  from alarm"},
    {"Columns",
     [](S& s) {
         s.table("alarm");
         s.select("id");
         s.select("name");
     },
     "select id,name from alarm"},
    {"DistinctOverTwoTables",
     [](S& s) {
         s.table("alarm");
         s.table("device");
         s.distinct();
         s.select("type");
     },
     "select distinct type from alarm,device"},
    {"DistinctAllColumns",
     [](S& s) {
         s.table("alarm");
         s.distinct();
         s.distinct();
     },
     "select distinct  *  from alarm"},
    {"WhereOrderLimit",
     [](S& s) {
         s.table("alarm");
         s.select("id");
         s.select("name");
         s.where(CVORNCriterion("(level=3)"));
         s.orderBy("id", false);
         s.limit(10, 20);
     },
     "select id,name from alarm where (level=3) order by id DESC LIMIT 10 OFFSET 20"},
    {"OrderMixed",
     [](S& s) {
         s.table("alarm");
         s.orderBy("level", true);
         s.orderBy("time", false);
     },
     "select  *  from alarm order by level,time DESC"},
    {"OrderAscending",
     [](S& s) {
         s.table("t");
         s.orderBy("a");
         s.orderBy("b", true);
     },
     "select  *  from t order by a,b"},
    {"OrderDescendingEach",
     [](S& s) {
         s.table("t");
         s.orderBy("a", false);
         s.orderBy(CVORNColumn("t", "b"), false);
     },
     "select  *  from t order by a DESC,t.b DESC"},
    {"UnionAllThenOrder",
     [](S& s) {
         s.table("alarm");
         s.select("id");
         s.compound(otherSelect("history"), COMPOUND_UNION_ALL);
         s.orderBy("id", true);
     },
     "select id from alarm UNION ALL select id from history order by id"},
    {"CompoundBetweenWhereAndLimit",
     [](S& s) {
         s.table("a");
         s.where(CVORNCriterion("(x=1)"));
         s.limit(5, 0);
         s.compound(otherSelect("b"), COMPOUND_EXCEPT);
     },
     "select  *  from a where (x=1) EXCEPT select id from b LIMIT 5 OFFSET 0"},
    {"Intersect", [](S& s) { s.compound(otherSelect("b"), COMPOUND_INTERSECT); },
     "select  *  from  INTERSECT select id from b"},
    {"Union", [](S& s) { s.compound(otherSelect("b"), COMPOUND_UNION); },
     "select  *  from  UNION select id from b"},
    {"CompoundZeroIsUnion", [](S& s) { s.compound(otherSelect("b"), ENUM_COMPOUND_OP(0)); },
     "select  *  from  UNION select id from b"},
    {"CompoundSevenIsUnion", [](S& s) { s.compound(otherSelect("b"), ENUM_COMPOUND_OP(7)); },
     "select  *  from  UNION select id from b"},
    {"SecondCompoundReplaces",
     [](S& s) {
         s.compound(otherSelect("b"), COMPOUND_UNION);
         s.compound(otherSelect("c"), COMPOUND_EXCEPT);
     },
     "select  *  from  EXCEPT select id from c"},
    {"QuotedColumnDoubled",
     [](S& s) {
         s.table("t");
         s.select("o'x");
     },
     "select o''x from t"},
    {"QuotesDoubledInEveryColumnList",
     [](S& s) {
         s.table("t");
         s.select(CVORNColumn("t", "a'b"));
         s << CVORNCriterionItem("c'd");
         s.orderBy("e'f", true);
     },
     "select t.a''b,c''d from t order by e''f"},
    {"WhereTextUnchanged",
     [](S& s) {
         s.table("t");
         s.where(CVORNCriterion("(n='a')"));
     },
     "select  *  from t where (n='a')"},
    {"Aggregates",
     [](S& s) {
         s.table("person");
         s << vornMax(CVORNCriterionItem("age")) << vornCount();
     },
     "select  max(age), count(*) from person"},
    {"QualifiedColumns",
     [](S& s) {
         s.table("alarm");
         s.select(CVORNColumn("alarm", "id"));
         s.select(CVORNColumn("", "dropped"));
     },
     "select alarm.id, from alarm"},
    {"LimitZero",
     [](S& s) {
         s.table("t");
         s.limit(0, 0);
     },
     "select  *  from t LIMIT 0 OFFSET 0"},
    {"LimitMax", [](S& s) { s.limit(4294967295U, 1); },
     "select  *  from  LIMIT 4294967295 OFFSET 1"},
    {"SecondLimitReplaces",
     [](S& s) {
         s.limit(1, 2);
         s.limit(3, 4);
     },
     "select  *  from  LIMIT 3 OFFSET 4"},
    {"SecondWhereReplaces",
     [](S& s) {
         s.table("t");
         s.where(CVORNCriterion("(a=1)"));
         s.where(CVORNCriterion("(b=2)"));
     },
     "select  *  from t where (b=2)"},
    {"EmptyWhere",
     [](S& s) {
         s.table("t");
         s.where(CVORNCriterion());
     },
     "select  *  from t where "},
    {"TablesDeduplicatedBySubstring",
     [](S& s) {
         s.table("taskinfo");
         s.table("task");
         s.table("alarm");
         s.table("alarm");
     },
     "select  *  from taskinfo,alarm"},
    {"ClearKeepsTables",
     [](S& s) {
         s.table("alarm");
         s.distinct();
         s.select("id");
         s.where(CVORNCriterion("(a=1)"));
         s.orderBy("id", false);
         s.limit(1, 1);
         s.compound(otherSelect("b"), COMPOUND_UNION);
         s.clear();
         s.table("alarm");
     },
     "select  *  from alarm"},
    {"TableAfterClearAppends",
     [](S& s) {
         s.table("alarm");
         s.clear();
         s.table("device");
     },
     "select  *  from alarm,device"},
};

class SelectorRendering : public ::testing::TestWithParam<Case> {};

TEST_P(SelectorRendering, RendersExactText) {
    vorn::test::expectRenders(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Selector, SelectorRendering, ::testing::ValuesIn(kCases),
                         vorn::test::CaseName());

TEST(Selector, TableReturnsTheNamedTableForConditions) {
    CVORNSelector selector;
    selector.where(selector.table("alarm")["level"] == 3);
    EXPECT_EQ(selector.toString(), "select  *  from alarm where (alarm.level=3)");
}

TEST(Selector, CompoundTakesTheOtherTextAtTheCall) {
    CVORNSelector other = otherSelect("b");
    CVORNSelector selector;
    selector.table("a");
    selector.compound(other, COMPOUND_UNION);
    other.select("late");
    EXPECT_EQ(selector.toString(), "select  *  from a UNION select id from b");
}

// The attach and detach texts frame the statement; choosing a table empties them.
class FramedSelector : public CVORNSelector {
  public:
    void frame() {
        m_attachSQL = "ATTACH;";
        m_detachSQL = ";DETACH";
    }
};

TEST(Selector, AttachAndDetachTextsFrameTheStatement) {
    FramedSelector selector;
    selector.table("t");
    selector.frame();
    selector.limit(1, 2);
    EXPECT_EQ(selector.toString(), "ATTACH;select  *  from t LIMIT 1 OFFSET 2;DETACH");
    selector.table("u");
    EXPECT_EQ(selector.toString(), "select  *  from t,u LIMIT 1 OFFSET 2");
    selector.frame();
    selector.clear();
    EXPECT_EQ(selector.toString(), "select  *  from t,u");
}

}  // namespace

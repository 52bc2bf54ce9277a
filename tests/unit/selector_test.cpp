#include "vorn/selector.h"

#include <gtest/gtest.h>

#include <string>

#include "render_case.h"
#include "vorn/criterion.h"

namespace {

using S = CVORNSelector;
using C = CVORNCriterion;

CVORNSelector idsOf(const std::string& table) {
    CVORNSelector other;
    other.table(table);
    other.select("id");
    return other;
}

// clang-format off
const vorn::test::RenderCase<S> kCases[] = {
    {"NoTable", [](S&) {}, "select  *  from "},
    {"Columns", [](S& s) { s.table("alarm"); s.select("id"); s.select("name"); },
     "select id,name from alarm"},
    {"DistinctTwoTables", [](S& s) { s.table("alarm"); s.table("device"); s.distinct();
         s.select("type"); },
     "select distinct type from alarm,device"},
    {"DistinctAllColumns", [](S& s) { s.table("alarm"); s.distinct(); s.distinct(); },
     "select distinct  *  from alarm"},
    {"WhereOrderLimit", [](S& s) { s.table("alarm"); s.select("id"); s.where(C("(level=3)"));
         s.orderBy("id", false); s.limit(10, 20); },
     "select id from alarm where (level=3) order by id DESC LIMIT 10 OFFSET 20"},
    {"OrderKeys", [](S& s) { s.table("t"); s.orderBy("a"); s.orderBy("b", false);
         s.orderBy(CVORNColumn("t", "c"), false); },
     "select  *  from t order by a,b DESC,t.c DESC"},
    {"CompoundBeforeOrderAndLimit", [](S& s) { s.table("a"); s.limit(5, 0); s.orderBy("id");
         s.compound(idsOf("b"), COMPOUND_UNION_ALL); },
     "select  *  from a UNION ALL select id from b order by id LIMIT 5 OFFSET 0"},
    {"Intersect", [](S& s) { s.compound(idsOf("b"), COMPOUND_INTERSECT); },
     "select  *  from  INTERSECT select id from b"},
    {"Union", [](S& s) { s.compound(idsOf("b"), COMPOUND_UNION); },
     "select  *  from  UNION select id from b"},
    {"ZeroIsUnion", [](S& s) { s.compound(idsOf("b"), ENUM_COMPOUND_OP(0)); },
     "select  *  from  UNION select id from b"},
    {"SevenIsUnion", [](S& s) { s.compound(idsOf("b"), ENUM_COMPOUND_OP(7)); },
     "select  *  from  UNION select id from b"},
    {"SecondCompoundReplaces", [](S& s) { s.compound(idsOf("b"), COMPOUND_UNION);
         s.compound(idsOf("c"), COMPOUND_EXCEPT); },
     "select  *  from  EXCEPT select id from c"},
    {"CompoundWithItselfTakesItsTextBeforeTheCall", [](S& s) { s.table("a"); s.select("id");
         s.compound(s, COMPOUND_UNION); },
     "select id from a UNION select id from a"},
    {"SecondCompoundWithItself", [](S& s) { s.table("a"); s.select("id");
         s.compound(s, COMPOUND_UNION); s.compound(s, COMPOUND_EXCEPT); },
     "select id from a EXCEPT select id from a UNION select id from a"},
    {"QuotesDoubledInColumnLists", [](S& s) { s.table("t"); s.select("o'x");
         s.select(CVORNColumn("t", "a'b")); s << CVORNCriterionItem("c'd"); s.orderBy("e'f"); },
     "select o''x,t.a''b,c''d from t order by e''f"},
    {"WhereVerbatim", [](S& s) { s.table("t"); s.where(C("(n='a')")); },
     "select  *  from t where (n='a')"},
    {"Aggregates", [](S& s) { s.table("p"); s << vornMax(CVORNCriterionItem("a")) << vornCount(); },
     "select  max(a), count(*) from p"},
    {"UnqualifiedColumnIsEmpty", [](S& s) { s.table("a"); s.select(CVORNColumn("a", "id"));
         s.select(CVORNColumn("", "x")); },
     "select a.id, from a"},
    {"LimitZero", [](S& s) { s.limit(0, 0); }, "select  *  from  LIMIT 0 OFFSET 0"},
    {"LimitMaxAndReplace", [](S& s) { s.limit(1, 2); s.limit(4294967295U, 1); },
     "select  *  from  LIMIT 4294967295 OFFSET 1"},
    {"SecondWhereReplaces", [](S& s) { s.where(C("(a=1)")); s.where(C("(b=2)")); },
     "select  *  from  where (b=2)"},
    {"EmptyWhere", [](S& s) { s.table("t"); s.where(C()); }, "select  *  from t where "},
    {"TablesBySubstring", [](S& s) { s.table("taskinfo"); s.table("task"); s.table("alarm");
         s.table("alarm"); },
     "select  *  from taskinfo,alarm"},
    {"ClearKeepsTables", [](S& s) { s.table("a"); s.distinct(); s.select("id"); s.where(C("(x)"));
         s.orderBy("id"); s.limit(1, 1);
         s.compound(idsOf("b"), COMPOUND_UNION); s.clear(); s.table("a"); s.table("c"); },
     "select  *  from a,c"},
};
// clang-format on

class SelectorRendering : public ::testing::TestWithParam<vorn::test::RenderCase<S>> {};

TEST_P(SelectorRendering, RendersExactText) {
    vorn::test::expectRenders(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Selector, SelectorRendering, ::testing::ValuesIn(kCases),
                         vorn::test::CaseName());

TEST(Selector, TableNamesConditionsAndCompoundTakesTheTextAtTheCall) {
    CVORNSelector other = idsOf("b");
    CVORNSelector selector;
    selector.where(selector.table("a")["level"] == 3);
    selector.compound(other, COMPOUND_EXCEPT);
    other.select("late");
    EXPECT_EQ(selector.toString(), "select  *  from a where (a.level=3) EXCEPT select id from b");
}

// The attach and detach texts frame the statement; a table() call empties them.
class FramedSelector : public CVORNSelector {
  public:
    void frame() {
        m_attachSQL = "ATTACH;";
        m_detachSQL = ";DETACH";
    }
};

TEST(Selector, AttachAndDetachTextsFrameTheStatement) {
    FramedSelector selector;
    selector.frame();
    selector.limit(1, 2);
    EXPECT_EQ(selector.toString(), "ATTACH;select  *  from  LIMIT 1 OFFSET 2;DETACH");
    selector.table("t");
    EXPECT_EQ(selector.toString(), "select  *  from t LIMIT 1 OFFSET 2");
    selector.frame();
    selector.clear();
    EXPECT_EQ(selector.toString(), "select  *  from t");
}

}  // namespace

// The selector's rendering rules: every setter with an empty input, with a
// single quote, and first and later in its clause; the documented examples
// word for word.
#include "vorn/selector.h"

#include <gtest/gtest.h>

#include <string>

#include "render_case.h"
#include "vorn/criterion.h"

namespace {

using S = CVORNSelector;
using C = CVORNCriterion;
using Item = CVORNCriterionItem;

CVORNSelector idsOf(const std::string& table) {
    CVORNSelector other;
    other.table(table);
    other.select("id");
    return other;
}

// clang-format off
const vorn::test::RenderCase<S> kRules[] = {
    // The documented examples.
    {"Example1", [](S& s) { s.table("alarm"); }, "select  *  from alarm"},
    {"Example2", [](S& s) { s.table("alarm"); s.select("id"); s.select("name"); },
     "select id,name from alarm"},
    {"Example3", [](S& s) { s.table("alarm"); s.table("device"); s.distinct(); s.select("type"); },
     "select distinct type from alarm,device"},
    {"Example4", [](S& s) { s.table("alarm"); s.select("id"); s.select("name");
         s.where(C("(level=3)")); s.orderBy("id", false); s.limit(10, 20); },
     "select id,name from alarm where (level=3) order by id DESC LIMIT 10 OFFSET 20"},
    {"Example5", [](S& s) { s.table("alarm"); s.orderBy("level", true); s.orderBy("time", false); },
     "select  *  from alarm order by level,time DESC"},
    {"Example6", [](S& s) { s.table("alarm"); s.select("id");
         s.compound(idsOf("history"), COMPOUND_UNION_ALL); s.orderBy("id", true); },
     "select id from alarm UNION ALL select id from history order by id"},
    {"Example7", [](S& s) { s.table("t"); s.select("o'x"); }, "select o''x from t"},
    {"Example8", [](S& s) { s.table("person"); s << vornMax(Item("age")) << vornCount(); },
     "select  max(age), count(*) from person"},
    // table(): names are not escaped; a name contained in the list is skipped.
    {"NoTable", [](S&) {}, "select  *  from "},
    {"TableEmptyFirst", [](S& s) { s.table(""); s.table("a"); }, "select  *  from a"},
    {"TableEmptyLater", [](S& s) { s.table("a"); s.table(""); }, "select  *  from a"},
    {"TableQuoteFirst", [](S& s) { s.table("o'x"); }, "select  *  from o'x"},
    {"TableQuoteLater", [](S& s) { s.table("a"); s.table("o'x"); }, "select  *  from a,o'x"},
    {"TablesBySubstring", [](S& s) { s.table("taskinfo"); s.table("task"); s.table("alarm");
         s.table("alarm"); }, "select  *  from taskinfo,alarm"},
    // select(): "," only once the list holds text, so an empty first column vanishes.
    {"SelectEmptyOnly", [](S& s) { s.table("t"); s.select(""); }, "select  *  from t"},
    {"SelectEmptyFirst", [](S& s) { s.table("t"); s.select(""); s.select("b"); }, "select b from t"},
    {"SelectEmptyLater", [](S& s) { s.table("t"); s.select("a"); s.select(""); }, "select a, from t"},
    {"SelectQuoteLater", [](S& s) { s.table("t"); s.select("a"); s.select("o'x"); },
     "select a,o''x from t"},
    {"ColumnUnqualifiedFirst", [](S& s) { s.table("t"); s.select(CVORNColumn("", "x"));
         s.select(CVORNColumn("t", "b")); }, "select t.b from t"},
    {"ColumnUnqualifiedLater", [](S& s) { s.table("a"); s.select(CVORNColumn("a", "id"));
         s.select(CVORNColumn("", "x")); }, "select a.id, from a"},
    {"ColumnQuoteFirst", [](S& s) { s.table("t"); s.select(CVORNColumn("o'x", "c")); },
     "select o''x.c from t"},
    {"ColumnQuoteLater", [](S& s) { s.table("t"); s.select("a"); s.select(CVORNColumn("t", "a'b")); },
     "select a,t.a''b from t"},
    {"ItemEmptyFirst", [](S& s) { s.table("t"); s << Item() << Item("b"); }, "select b from t"},
    {"ItemEmptyLater", [](S& s) { s.table("t"); s << Item("a") << Item(); }, "select a, from t"},
    {"ItemQuoteFirst", [](S& s) { s.table("t"); s << Item("c'd"); }, "select c''d from t"},
    {"ItemQuoteLater", [](S& s) { s.table("t"); s << Item("a") << vornCount(Item("it's")); },
     "select a, count(it''s) from t"},
    // distinct(): set once, repeating changes nothing.
    {"DistinctAllColumns", [](S& s) { s.table("alarm"); s.distinct(); s.distinct(); },
     "select distinct  *  from alarm"},
    // orderBy(): " order by " on the first call whatever the key, "," before every later key.
    {"OrderByEmptyOnly", [](S& s) { s.table("t"); s.orderBy(""); }, "select  *  from t order by "},
    {"OrderByEmptyFirst", [](S& s) { s.table("t"); s.orderBy(""); s.orderBy("b", true); },
     "select  *  from t order by ,b"},
    {"OrderByEmptyLater", [](S& s) { s.table("t"); s.orderBy("a"); s.orderBy(""); },
     "select  *  from t order by a,"},
    {"OrderByEmptyDescending", [](S& s) { s.table("t"); s.orderBy("", false); },
     "select  *  from t order by  DESC"},
    {"OrderByQuoteFirst", [](S& s) { s.table("t"); s.orderBy("e'f"); },
     "select  *  from t order by e''f"},
    {"OrderByQuoteLater", [](S& s) { s.table("t"); s.orderBy("a", false); s.orderBy("e'f", false); },
     "select  *  from t order by a DESC,e''f DESC"},
    {"OrderByColumnUnqualifiedOnly", [](S& s) { s.table("t"); s.orderBy(CVORNColumn("", "x"), true); },
     "select  *  from t order by "},
    {"OrderByColumnUnqualifiedLater", [](S& s) { s.table("t"); s.orderBy("a");
         s.orderBy(CVORNColumn("", "x"), false); }, "select  *  from t order by a, DESC"},
    {"OrderByColumnQuote", [](S& s) { s.table("t"); s.orderBy(CVORNColumn("t", "a'b"), false);
         s.orderBy(CVORNColumn("t", "c")); }, "select  *  from t order by t.a''b DESC,t.c"},
    // where(): the condition's text verbatim; a later call replaces.
    {"WhereEmpty", [](S& s) { s.table("t"); s.where(C()); }, "select  *  from t where "},
    {"WhereQuoteVerbatim", [](S& s) { s.table("t"); s.where(C("(n='a')")); },
     "select  *  from t where (n='a')"},
    {"WhereReplaced", [](S& s) { s.where(C("(a=1)")); s.where(C("(b=2)")); },
     "select  *  from  where (b=2)"},
    {"WhereFromTable", [](S& s) { s.where(s.table("a")["level"] == 3); },
     "select  *  from a where (a.level=3)"},
    // limit(): both numbers always, a later call replaces.
    {"LimitZero", [](S& s) { s.limit(0, 0); }, "select  *  from  LIMIT 0 OFFSET 0"},
    {"LimitReplacedAndLargest", [](S& s) { s.limit(1, 2); s.limit(4294967295U, 1); },
     "select  *  from  LIMIT 4294967295 OFFSET 1"},
    // compound(): the other's text at the call, verbatim, after the condition.
    {"CompoundUnion", [](S& s) { s.compound(idsOf("b"), COMPOUND_UNION); },
     "select  *  from  UNION select id from b"},
    {"CompoundIntersect", [](S& s) { s.compound(idsOf("b"), COMPOUND_INTERSECT); },
     "select  *  from  INTERSECT select id from b"},
    {"CompoundExceptReplaces", [](S& s) { s.compound(idsOf("b"), COMPOUND_UNION);
         s.compound(idsOf("c"), COMPOUND_EXCEPT); }, "select  *  from  EXCEPT select id from c"},
    {"CompoundZeroIsUnion", [](S& s) { s.compound(idsOf("b"), ENUM_COMPOUND_OP(0)); },
     "select  *  from  UNION select id from b"},
    {"CompoundSevenIsUnion", [](S& s) { s.compound(idsOf("b"), ENUM_COMPOUND_OP(7)); },
     "select  *  from  UNION select id from b"},
    {"CompoundEmptyOther", [](S& s) { s.table("t"); s.compound(S(), COMPOUND_UNION); },
     "select  *  from t UNION select  *  from "},
    {"CompoundQuoteVerbatim", [](S& s) { S other = idsOf("b"); other.where(C("(n='a')"));
         s.compound(other, COMPOUND_UNION); }, "select  *  from  UNION select id from b where (n='a')"},
    {"CompoundWithItself", [](S& s) { s.table("a"); s.select("id"); s.compound(s, COMPOUND_UNION);
         s.compound(s, COMPOUND_EXCEPT); },
     "select id from a EXCEPT select id from a UNION select id from a"},
    {"EveryClauseInOrder", [](S& s) { s.limit(5, 0); s.orderBy("id"); s.compound(idsOf("b"),
         COMPOUND_UNION_ALL); s.where(C("(x)")); s.table("a"); s.select("id"); s.distinct(); },
     "select distinct id from a where (x) UNION ALL select id from b order by id LIMIT 5 OFFSET 0"},
    // clear(): everything but the table list.
    {"ClearKeepsTables", [](S& s) { s.table("a"); s.distinct(); s.select("id"); s.where(C("(x)"));
         s.orderBy("id"); s.limit(1, 1); s.compound(idsOf("b"), COMPOUND_UNION); s.clear();
         s.table("a"); s.table("c"); }, "select  *  from a,c"},
};
// clang-format on

VORN_RENDER_RULES(Selector, S, kRules);

TEST(Selector, CompoundTakesTheOtherTextAtTheCall) {
    CVORNSelector other = idsOf("b");
    CVORNSelector selector;
    selector.compound(other, COMPOUND_EXCEPT);
    other.select("late");
    EXPECT_EQ(selector.toString(), "select  *  from  EXCEPT select id from b");
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

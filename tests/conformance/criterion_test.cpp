// The rendering rules of condition operands, joins and aggregates: every
// operation with an empty value, a single quote and an empty operand, first on
// a fresh operand and later on one that already holds a comparison; the
// documented examples word for word.
#include "vorn/criterion.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "format_failure.h"
#include "render_case.h"
#include "vorn/base.h"
#include "vorn/selector.h"

namespace {

using Item = CVORNCriterionItem;
using Str = std::string;

struct ComparisonCase {
    std::string name;
    std::string operand;
    std::function<CVORNCriterion(Item&)> compare;
    std::string expected;
};
VORN_PRINT_BY_NAME(ComparisonCase);

CVORNsqlstr raw(const std::string& sql) {
    CVORNsqlstr statement;
    statement.assign(sql);
    return statement;
}

CVORNSelector selector(const std::string& table, const std::string& condition) {
    CVORNSelector sub;
    sub.table(table);
    sub.select("id");
    if (!condition.empty()) {
        sub.where(CVORNCriterion(condition));
    }
    return sub;
}

const Str kHostile = "x'); DROP TABLE alarm; --";
const short kFive = 5;
const short kMinusThree = -3;
const CVORNsqlstr kMaxAge = raw("select max(age) from person");

// clang-format off
const ComparisonCase kComparisons[] = {
    // The documented examples.
    {"EqShort", "age", [](Item& i) { return i == kFive; }, "(age=5)"},
    {"EqInt", "age", [](Item& i) { return i == 5; }, "(age=5)"},
    {"EqLong", "age", [](Item& i) { return i == 5L; }, "(age=5)"},
    {"EqUnsigned", "age", [](Item& i) { return i == 5U; }, "(age=5)"},
    {"EqUnsignedLong", "age", [](Item& i) { return i == 5UL; }, "(age=5)"},
    {"NeShort", "age", [](Item& i) { return i != kMinusThree; }, "(age!=-3)"},
    {"NeInt", "age", [](Item& i) { return i != -3; }, "(age!=-3)"},
    {"NeLong", "age", [](Item& i) { return i != -3L; }, "(age!=-3)"},
    {"GeInt", "age", [](Item& i) { return i >= 18; }, "(age >= 18)"},
    {"LeInt", "age", [](Item& i) { return i <= 65; }, "(age <= 65)"},
    {"EqFloat", "age", [](Item& i) { return i == 1.5F; }, "(age=1.500000)"},
    {"EqDouble", "age", [](Item& i) { return i == 1.5; }, "(age=1.500000)"},
    {"NeFloat", "age", [](Item& i) { return i != 1.5F; }, "(age!=1.500000)"},
    {"NeDouble", "age", [](Item& i) { return i != 1.5; }, "(age!=1.500000)"},
    {"EqChar", "name", [](Item& i) { return i == 'y'; }, "(name='y')"},
    {"NeChar", "name", [](Item& i) { return i != 'y'; }, "(name!='y')"},
    {"EqString", "name", [](Item& i) { return i == Str("bob"); }, "(name='bob')"},
    {"NeString", "name", [](Item& i) { return i != Str("bob"); }, "(name!='bob')"},
    {"LeString", "ts", [](Item& i) { return i <= Str("2020-01-01"); }, "(ts <= '2020-01-01')"},
    {"GeString", "ts", [](Item& i) { return i >= Str("2020-01-01"); }, "(ts >= '2020-01-01')"},
    {"LeStatement", "age", [](Item& i) { return i <= kMaxAge; },
     "(age <= (select max(age) from person))"},
    {"GeStatement", "age", [](Item& i) { return i >= kMaxAge; },
     "(age >= (select max(age) from person))"},
    {"EqItem", "age", [](Item& i) { return i == Item("b.age"); }, "(age=b.age)"},
    {"NeItem", "age", [](Item& i) { return i != Item("b.age"); }, "(age!=b.age)"},
    {"InList", "id", [](Item& i) { return i.in("1,2,3"); }, "id in (1,2,3)"},
    {"InSelector", "id", [](Item& i) { return i.in(selector("t", "")); }, "id in (select id from t)"},
    {"NotInList", "id", [](Item& i) { return i.notIn("1,2,3"); }, "id not in (1,2,3)"},
    {"Like", "name", [](Item& i) { return i.like("ab"); }, "name LIKE 'ab'"},
    {"Call", "name", [](Item& i) { return i(Str("bob")); }, "name'bob"},
    // Integer limits.
    {"EqShortMinusOne", "age", [](Item& i) { return i == static_cast<short>(-1); }, "(age=-1)"},
    {"EqLongMin", "age", [](Item& i) { return i == (-9223372036854775807L - 1); },
     "(age=-9223372036854775808)"},
    {"EqUnsignedMax", "age", [](Item& i) { return i == 4294967295U; }, "(age=4294967295)"},
    {"NeUnsigned", "age", [](Item& i) { return i != 7U; }, "(age!=7)"},
    {"NeUnsignedLongMax", "age", [](Item& i) { return i != 18446744073709551615UL; },
     "(age!=18446744073709551615)"},
    {"GeIntNegative", "age", [](Item& i) { return i >= -1; }, "(age >= -1)"},
    {"EqFloatTwoAndAHalf", "age", [](Item& i) { return i == 2.5F; }, "(age=2.500000)"},
    {"NeDoubleNegative", "age", [](Item& i) { return i != -0.25; }, "(age!=-0.250000)"},
    // Empty values: no IS NULL, nothing left out.
    {"EqStringEmpty", "name", [](Item& i) { return i == Str(); }, "(name='')"},
    {"NeStringEmpty", "name", [](Item& i) { return i != Str(); }, "(name!='')"},
    {"LeStringEmpty", "ts", [](Item& i) { return i <= Str(); }, "(ts <= '')"},
    {"GeStringEmpty", "ts", [](Item& i) { return i >= Str(); }, "(ts >= '')"},
    {"LeStatementEmpty", "age", [](Item& i) { return i <= CVORNsqlstr(); }, "(age <= ())"},
    {"GeStatementEmpty", "age", [](Item& i) { return i >= CVORNsqlstr(); }, "(age >= ())"},
    {"EqItemEmpty", "age", [](Item& i) { return i == Item(); }, "(age=)"},
    {"NeItemEmpty", "age", [](Item& i) { return i != Item(); }, "(age!=)"},
    {"InListEmpty", "id", [](Item& i) { return i.in(""); }, "id in ()"},
    {"InSelectorEmpty", "id", [](Item& i) { return i.in(CVORNSelector()); }, "id in (select  *  from )"},
    {"NotInListEmpty", "id", [](Item& i) { return i.notIn(""); }, "id not in ()"},
    {"LikeEmpty", "name", [](Item& i) { return i.like(""); }, "name LIKE ''"},
    {"CallEmpty", "name", [](Item& i) { return i(Str()); }, "name'"},
    // Single quotes: doubled, except where the rule says verbatim.
    {"EqStringDoublesFirstQuoteOnly", "name", [](Item& i) { return i == Str("a'b'c"); },
     "(name='a''b'c')"},
    {"EqStringQuote", "name", [](Item& i) { return i == Str("it's"); }, "(name='it''s')"},
    {"EqStringLaterQuoteEndsLiteral", "c", [](Item& i) { return i == Str("x'' OR 1=1 OR ''='"); },
     "(c='x''' OR 1=1 OR ''='')"},
    {"NeStringDoublesEveryQuote", "name", [](Item& i) { return i != Str("a'b'c"); },
     "(name!='a''b''c')"},
    {"LeStringQuote", "t", [](Item& i) { return i <= kHostile; }, "(t <= 'x''); DROP TABLE alarm; --')"},
    {"GeStringQuote", "t", [](Item& i) { return i >= kHostile; }, "(t >= 'x''); DROP TABLE alarm; --')"},
    {"NeStringHostile", "t", [](Item& i) { return i != kHostile; }, "(t!='x''); DROP TABLE alarm; --')"},
    {"LeStatementQuoteVerbatim", "age", [](Item& i) { return i <= raw("select x where n='a'"); },
     "(age <= (select x where n='a'))"},
    {"GeStatementQuoteVerbatim", "age", [](Item& i) { return i >= raw("select x where n='a'"); },
     "(age >= (select x where n='a'))"},
    {"EqCharQuoteVerbatim", "name", [](Item& i) { return i == '\''; }, "(name=''')"},
    {"NeCharQuoteVerbatim", "name", [](Item& i) { return i != '\''; }, "(name!=''')"},
    {"EqItemQuoteEscaped", "age", [](Item& i) { return i == Item("b.it's"); }, "(age=b.it''s)"},
    {"NeItemQuoteVerbatim", "age", [](Item& i) { return i != Item("b.it's"); }, "(age!=b.it's)"},
    {"InListQuoteEscaped", "id", [](Item& i) { return i.in("'a','b'"); }, "id in (''a'',''b'')"},
    {"InSelectorQuoteEscaped", "id", [](Item& i) { return i.in(selector("t", "(n='a')")); },
     "id in (select id from t where (n=''a''))"},
    {"NotInListQuoteVerbatim", "id", [](Item& i) { return i.notIn("'a','b'"); }, "id not in ('a','b')"},
    {"LikeQuote", "name", [](Item& i) { return i.like("it's%_"); }, "name LIKE 'it''s%_'"},
    {"CallQuote", "name", [](Item& i) { return i(Str("it's")); }, "name'it''s"},
    // An empty operand keeps its place: the fragments' own blanks stay.
    {"EmptyOperandEqInt", "", [](Item& i) { return i == 5; }, "(=5)"},
    {"EmptyOperandGeInt", "", [](Item& i) { return i >= 5; }, "( >= 5)"},
    {"EmptyOperandEqString", "", [](Item& i) { return i == Str("x"); }, "(='x')"},
    {"EmptyOperandIn", "", [](Item& i) { return i.in("1"); }, " in (1)"},
    {"EmptyOperandNotIn", "", [](Item& i) { return i.notIn("1"); }, " not in (1)"},
    {"EmptyOperandLike", "", [](Item& i) { return i.like("a"); }, " LIKE 'a'"},
    {"EmptyOperandCall", "", [](Item& i) { return i(Str("v")); }, "'v"},
    {"EmptyOperandLeStatement", "", [](Item& i) { return i <= kMaxAge; },
     "( <= (select max(age) from person))"},
    // Later: a second operation on the same operand appends to the first one's text.
    {"LaterEqInt", "age", [](Item& i) { i == 1; return i == 2; }, "((age=1)=2)"},
    {"LaterGeInt", "age", [](Item& i) { i == 1; return i >= 3; }, "((age=1) >= 3)"},
    {"LaterNeString", "n", [](Item& i) { i == 1; return i != Str("x"); }, "((n=1)!='x')"},
    {"LaterEqDouble", "n", [](Item& i) { i == Str("a"); return i == 0.5; }, "((n='a')=0.500000)"},
    {"LaterEqItem", "n", [](Item& i) { i == 1; return i == Item("m"); }, "((n=1)=m)"},
    {"LaterIn", "id", [](Item& i) { i == 1; return i.in("2"); }, "(id=1) in (2)"},
    {"LaterLike", "n", [](Item& i) { i.in("1"); return i.like("a"); }, "n in (1) LIKE 'a'"},
    {"LaterCall", "n", [](Item& i) { i == 'c'; return i(Str("v")); }, "(n='c')'v"},
};
// clang-format on

class Comparison : public ::testing::TestWithParam<ComparisonCase> {};

TEST_P(Comparison, RendersAndKeepsTheFragmentInTheOperand) {
    Item item(GetParam().operand);
    EXPECT_EQ(GetParam().compare(item).toString(), GetParam().expected);
    EXPECT_EQ(item.toString(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Rules, Comparison, ::testing::ValuesIn(kComparisons),
                         vorn::test::CaseName());

TEST(CriterionItem, SubscriptLeavesTheNameInTheOperandAndCopiesKeepBothTexts) {
    Item age("age");
    age == 1;
    EXPECT_EQ((age[""] == 5).toString(), "(=5)");
    EXPECT_EQ((age["it's"] == 5).toString(), "(it''s=5)");
    EXPECT_EQ(age.toString(), "it''s");
    age == 1;
    const Item copy(age);
    Item assigned;
    assigned = age;
    EXPECT_EQ(copy.toString(), "(it''s=1)");
    EXPECT_EQ(assigned.toString(), copy.toString());
}

TEST(CriterionItem, OversizedDoubleIsCutAndLogged) {
    vorn::test::LogCapture log;
    Item eq("age");
    EXPECT_EQ((eq == 1e300).toString(), "(age" + vorn::test::cutNumber("=%f", 1e300) + ")");
    vorn::test::expectFormatFailure(log, "CVORNCriterionItem", "operator==", 0,
                                    "[VORNLib]CVORNCriterionItem::operator==.snprintf_s failed");
    log.reset();
    Item ne("age");
    EXPECT_EQ((ne != -1e300).toString(), "(age" + vorn::test::cutNumber("!=%f", -1e300) + ")");
    vorn::test::expectFormatFailure(log, "CVORNCriterionItem", "operator!=", 0,
                                    "[VORNLib]CVORNCriterionItem::operator!=.snprintf_s failed");
}

struct JoinCase {
    std::string name;
    std::string left;
    bool isAnd;
    std::string right;
    std::string expected;
};
VORN_PRINT_BY_NAME(JoinCase);

class Join : public ::testing::TestWithParam<JoinCase> {};

TEST_P(Join, RewritesAndReturnsTheLeftOperand) {
    CVORNCriterion left(GetParam().left);
    const CVORNCriterion right(GetParam().right);
    CVORNCriterion& result = GetParam().isAnd ? (left && right) : (left || right);
    EXPECT_EQ(&result, &left);
    EXPECT_EQ(left.toString(), GetParam().expected);
    EXPECT_EQ(right.toString(), GetParam().right);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rules, Join, ::testing::Values(
    // The documented examples.
    JoinCase{"And", "(age=5)", true, "(name='x')", "((age=5) and (name='x'))"},
    JoinCase{"Or", "(age=5)", false, "(name='x')", "((age=5) or (name='x'))"},
    JoinCase{"EmptyLeftAnd", "", true, "(name='x')", "((name='x'))"},
    JoinCase{"EmptyRightAnd", "(age=5)", true, "", "((age=5) and )"},
    JoinCase{"BothEmpty", "", true, "", "()"},
    JoinCase{"EmptyLeftOr", "", false, "(name='x')", "((name='x'))"},
    JoinCase{"EmptyRightOr", "(age=5)", false, "", "((age=5) or )"},
    JoinCase{"BlankLeftIsNotEmpty", " ", true, "(name='x')", "(  and (name='x'))"},
    JoinCase{"QuotesVerbatim", "(a='it''s')", false, "b'c", "((a='it''s') or b'c)"}),
    vorn::test::CaseName());
// clang-format on

TEST(Criterion, JoinsNestLeftToRightAndShareTheLeftText) {
    CVORNCriterion l("(age=5)");
    const CVORNCriterion r("(name='x')");
    const CVORNCriterion s = CVORNCriterionItem("id").in("1,2");
    const CVORNCriterion copy = (l && r) || s;
    EXPECT_EQ(l.toString(), "(((age=5) and (name='x')) or id in (1,2))");
    EXPECT_EQ(copy.toString(), l.toString());
    CVORNCriterion chained("(age=5)");
    chained&& r&& s;
    EXPECT_EQ(chained.toString(), "(((age=5) and (name='x')) and id in (1,2))");
    CVORNCriterion self("(x)");
    self&& self;
    EXPECT_EQ(self.toString(), "((x) and (x))");
}

struct AggregateCase {
    std::string name;
    std::function<Item(const Item&)> wrap;
    const char* operand;
    const char* expected;
};
VORN_PRINT_BY_NAME(AggregateCase);

class Aggregate : public ::testing::TestWithParam<AggregateCase> {};

TEST_P(Aggregate, WrapsTheOperandAndLeavesItUnchanged) {
    const Item operand(GetParam().operand);
    EXPECT_EQ(GetParam().wrap(operand).toString(), GetParam().expected);
    EXPECT_EQ(operand.toString(), GetParam().operand);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rules, Aggregate, ::testing::Values(
    AggregateCase{"Min", vornMin, "age", " min(age)"},
    AggregateCase{"Max", vornMax, "age", " max(age)"},
    AggregateCase{"Avg", vornAvg, "price", " avg (price)"},
    AggregateCase{"Count", [](const Item& i) { return vornCount(i); }, "age", " count(age)"},
    AggregateCase{"CountStar", [](const Item&) { return vornCount(); }, "", " count(*)"},
    AggregateCase{"Nested", [](const Item& i) { return vornMax(vornMin(i)); }, "age", " max( min(age))"},
    AggregateCase{"Empty", vornAvg, "", " avg ()"},
    AggregateCase{"QuoteVerbatim", vornMin, "it's", " min(it's)"},
    AggregateCase{"Compared", [](const Item& i) { Item count = vornCount(i); count >= 2; return count; },
                  "id", "( count(id) >= 2)"}),
    vorn::test::CaseName());
// clang-format on

}  // namespace

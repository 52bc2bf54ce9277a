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

struct ComparisonCase {
    std::string name;
    std::string operand;
    std::function<CVORNCriterion(Item&)> compare;
    std::string expected;
};

void PrintTo(const ComparisonCase& example, std::ostream* os) {
    *os << example.name;
}

CVORNsqlstr raw(const std::string& sql) {
    CVORNsqlstr statement;
    statement.assign(sql);
    return statement;
}

const std::string kHostile = "x'); DROP TABLE alarm; --";
const short kMinusThree = -3;

// clang-format off
const ComparisonCase kComparisons[] = {
    {"EqShort", "age", [](Item& i) { return i == static_cast<short>(-1); }, "(age=-1)"},
    {"EqInt", "age", [](Item& i) { return i == 5; }, "(age=5)"},
    {"EqLongMin", "age", [](Item& i) { return i == (-9223372036854775807L - 1); },
     "(age=-9223372036854775808)"},
    {"EqUnsignedMax", "age", [](Item& i) { return i == 4294967295U; }, "(age=4294967295)"},
    {"EqUnsignedLong", "age", [](Item& i) { return i == 5UL; }, "(age=5)"},
    {"NeShort", "age", [](Item& i) { return i != kMinusThree; }, "(age!=-3)"},
    {"NeInt", "age", [](Item& i) { return i != -3; }, "(age!=-3)"},
    {"NeLong", "age", [](Item& i) { return i != -3L; }, "(age!=-3)"},
    {"NeUnsigned", "age", [](Item& i) { return i != 7U; }, "(age!=7)"},
    {"NeUnsignedLongMax", "age", [](Item& i) { return i != 18446744073709551615UL; },
     "(age!=18446744073709551615)"},
    {"GeInt", "age", [](Item& i) { return i >= -1; }, "(age >= -1)"},
    {"LeInt", "age", [](Item& i) { return i <= 65; }, "(age <= 65)"},
    {"EqFloat", "age", [](Item& i) { return i == 2.5F; }, "(age=2.500000)"},
    {"EqDouble", "age", [](Item& i) { return i == 2.5; }, "(age=2.500000)"},
    {"NeFloat", "age", [](Item& i) { return i != 1.5F; }, "(age!=1.500000)"},
    {"NeDouble", "age", [](Item& i) { return i != -0.25; }, "(age!=-0.250000)"},
    {"EqChar", "name", [](Item& i) { return i == 'y'; }, "(name='y')"},
    {"NeChar", "name", [](Item& i) { return i != 'y'; }, "(name!='y')"},
    {"EqQuoteCharVerbatim", "name", [](Item& i) { return i == '\''; }, "(name=''')"},
    {"EqString", "name", [](Item& i) { return i == std::string("bob"); }, "(name='bob')"},
    {"EqEmptyString", "name", [](Item& i) { return i == std::string(); }, "(name='')"},
    {"EqDoublesFirstQuoteOnly", "name", [](Item& i) { return i == std::string("a'b'c"); },
     "(name='a''b'c')"},
    {"EqLaterQuoteEndsLiteral", "c", [](Item& i) { return i == std::string("x'' OR 1=1 OR ''='"); },
     "(c='x''' OR 1=1 OR ''='')"},
    {"NeDoublesEveryQuote", "name", [](Item& i) { return i != std::string("a'b'c"); },
     "(name!='a''b''c')"},
    {"LeString", "ts", [](Item& i) { return i <= std::string("2020-01-01"); },
     "(ts <= '2020-01-01')"},
    {"GeString", "ts", [](Item& i) { return i >= std::string("2020-01-01"); },
     "(ts >= '2020-01-01')"},
    {"NeHostile", "t", [](Item& i) { return i != kHostile; }, "(t!='x''); DROP TABLE alarm; --')"},
    {"LeHostile", "t", [](Item& i) { return i <= kHostile; },
     "(t <= 'x''); DROP TABLE alarm; --')"},
    {"GeHostile", "t", [](Item& i) { return i >= kHostile; },
     "(t >= 'x''); DROP TABLE alarm; --')"},
    {"LeStatement", "age", [](Item& i) { return i <= raw("select max(age) from p"); },
     "(age <= (select max(age) from p))"},
    {"GeStatementVerbatim", "age", [](Item& i) { return i >= raw("select x where n='a'"); },
     "(age >= (select x where n='a'))"},
    {"EqItemEscaped", "age", [](Item& i) { return i == Item("b.it's"); }, "(age=b.it''s)"},
    {"NeItemVerbatim", "age", [](Item& i) { return i != Item("b.it's"); }, "(age!=b.it's)"},
    {"InListEscaped", "id", [](Item& i) { return i.in("'a','b'"); }, "id in (''a'',''b'')"},
    {"InEmptyOperand", "", [](Item& i) { return i.in("1"); }, " in (1)"},
    {"NotInVerbatim", "id", [](Item& i) { return i.notIn("'a','b'"); }, "id not in ('a','b')"},
    {"Like", "name", [](Item& i) { return i.like("it's%_"); }, "name LIKE 'it''s%_'"},
    {"CallOpensLiteral", "name", [](Item& i) { return i(std::string("it's")); }, "name'it''s"},
    {"EqEmptyOperand", "", [](Item& i) { return i == 5; }, "(=5)"},
};
// clang-format on

class Comparison : public ::testing::TestWithParam<ComparisonCase> {};

TEST_P(Comparison, RendersFragmentAndKeepsItInTheOperand) {
    Item item(GetParam().operand);
    EXPECT_EQ(GetParam().compare(item).toString(), GetParam().expected);
    EXPECT_EQ(item.toString(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Operators, Comparison, ::testing::ValuesIn(kComparisons),
                         vorn::test::CaseName());

TEST(CriterionItem, InWithSelectorEscapesTheSubSelect) {
    CVORNSelector sub;
    sub.table("t");
    sub.select("id");
    EXPECT_EQ(Item("id").in(sub).toString(), "id in (select id from t)");
    sub.where(CVORNCriterion("(n='a')"));
    EXPECT_EQ(Item("id").in(sub).toString(), "id in (select id from t where (n=''a''))");
}

TEST(CriterionItem, OperandAccumulatesAndSubscriptStartsAfresh) {
    Item age("age");
    age == 1;
    EXPECT_EQ((age == 2).toString(), "((age=1)=2)");
    EXPECT_EQ((age >= 3).toString(), "(((age=1)=2) >= 3)");
    const Item copy(age);
    Item assigned;
    assigned = age;
    EXPECT_EQ((age["it's"] == 5).toString(), "(it''s=5)");
    EXPECT_EQ(age.toString(), "it''s");
    EXPECT_EQ(copy.toString(), "(((age=1)=2) >= 3)");
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

void PrintTo(const JoinCase& example, std::ostream* os) {
    *os << example.name;
}

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
INSTANTIATE_TEST_SUITE_P(Joiners, Join, ::testing::Values(
    JoinCase{"And", "(age=5)", true, "(name='x')", "((age=5) and (name='x'))"},
    JoinCase{"Or", "(age=5)", false, "(name='x')", "((age=5) or (name='x'))"},
    JoinCase{"EmptyLeftAnd", "", true, "(name='x')", "((name='x'))"},
    JoinCase{"EmptyLeftOr", "", false, "(name='x')", "((name='x'))"},
    JoinCase{"EmptyRight", "(age=5)", true, "", "((age=5) and )"},
    JoinCase{"BothEmpty", "", true, "", "()"},
    JoinCase{"BlankLeftIsNotEmpty", " ", true, "(name='x')", "(  and (name='x'))"}),
    vorn::test::CaseName());
// clang-format on

TEST(Criterion, JoinsNestLeftToRightAndShareTheLeftText) {
    CVORNCriterion l("(age=5)");
    const CVORNCriterion r("(name='x')");
    const CVORNCriterion s = CVORNCriterionItem("id").in("1,2");
    const CVORNCriterion copy = (l && r) || s;
    EXPECT_EQ(l.toString(), "(((age=5) and (name='x')) or id in (1,2))");
    EXPECT_EQ(copy.toString(), l.toString());
    CVORNCriterion self("(x)");
    self&& self;
    EXPECT_EQ(self.toString(), "((x) and (x))");
}

TEST(Criterion, AggregatesWrapTheOperandAndLeaveItUnchanged) {
    const CVORNCriterionItem age("age");
    EXPECT_EQ(vornMin(age).toString(), " min(age)");
    EXPECT_EQ(vornMax(age).toString(), " max(age)");
    EXPECT_EQ(vornAvg(age).toString(), " avg (age)");
    EXPECT_EQ(vornCount(age).toString(), " count(age)");
    EXPECT_EQ(vornCount().toString(), " count(*)");
    EXPECT_EQ(vornMax(vornMin(age)).toString(), " max( min(age))");
    EXPECT_EQ((vornCount(age) >= 2).toString(), "( count(age) >= 2)");
    EXPECT_EQ(age.toString(), "age");
}

}  // namespace

#include "vorn/criterion.h"

#include <gtest/gtest.h>

#include <string>

#include "render_case.h"

namespace {

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

INSTANTIATE_TEST_SUITE_P(
    Joiners, Join,
    ::testing::Values(
        JoinCase{"And", "(age=5)", true, "(name='x')", "((age=5) and (name='x'))"},
        JoinCase{"Or", "(age=5)", false, "(name='x')", "((age=5) or (name='x'))"},
        JoinCase{"EmptyLeftAnd", "", true, "(name='x')", "((name='x'))"},
        JoinCase{"EmptyLeftOr", "", false, "(name='x')", "((name='x'))"},
        JoinCase{"EmptyRight", "(age=5)", true, "", "((age=5) and )"},
        JoinCase{"BothEmpty", "", true, "", "()"},
        JoinCase{"BlankLeftIsNotEmpty", " ", true, "(name='x')", "(  and (name='x'))"},
        JoinCase{"UnwrappedRight", "(age=5)", false, "id in (1,2)", "((age=5) or id in (1,2))"}),
    vorn::test::CaseName());

TEST(Criterion, JoinsNestLeftToRight) {
    CVORNCriterion l("(age=5)");
    const CVORNCriterion r("(name='x')");
    const CVORNCriterion s("id in (1,2)");
    l&& r&& s;
    EXPECT_EQ(l.toString(), "(((age=5) and (name='x')) and id in (1,2))");
    CVORNCriterion m("(age=5)");
    (m && r) || s;
    EXPECT_EQ(m.toString(), "(((age=5) and (name='x')) or id in (1,2))");
}

TEST(Criterion, CopyOfAJoinSharesTheLeftText) {
    CVORNCriterion a(std::string("(a=1)"));
    const CVORNCriterion b(std::string("(b=2)"));
    const CVORNCriterion c = a && b;
    EXPECT_EQ(c.toString(), a.toString());
    EXPECT_EQ(a.toString(), "((a=1) and (b=2))");
    CVORNCriterion self(std::string("(x)"));
    self&& self;
    EXPECT_EQ(self.toString(), "((x) and (x))");
    EXPECT_EQ(CVORNCriterion().toString(), "");
}

struct AggregateCase {
    std::string name;
    CVORNCriterionItem (*function)(const CVORNCriterionItem&);
    std::string expected;
};

void PrintTo(const AggregateCase& example, std::ostream* os) {
    *os << example.name;
}

class Aggregate : public ::testing::TestWithParam<AggregateCase> {};

TEST_P(Aggregate, WrapsTheOperandAndLeavesItUnchanged) {
    const CVORNCriterionItem age("age");
    EXPECT_EQ(GetParam().function(age).toString(), GetParam().expected);
    EXPECT_EQ(age.toString(), "age");
}

INSTANTIATE_TEST_SUITE_P(Functions, Aggregate,
                         ::testing::Values(AggregateCase{"Min", vornMin, " min(age)"},
                                           AggregateCase{"Max", vornMax, " max(age)"},
                                           AggregateCase{"Avg", vornAvg, " avg (age)"},
                                           AggregateCase{"Count", vornCount, " count(age)"}),
                         vorn::test::CaseName());

TEST(Aggregates, StarNestingAndComparison) {
    EXPECT_EQ(vornCount().toString(), " count(*)");
    EXPECT_EQ(vornMax(vornMin(CVORNCriterionItem("age"))).toString(), " max( min(age))");
    EXPECT_EQ((vornCount(CVORNCriterionItem("id")) >= 2).toString(), "( count(id) >= 2)");
}

}  // namespace

#include <gtest/gtest.h>

#include <string>

#include "render_case.h"
#include "vorn/criterion.h"

namespace {

struct JoinCase {
    std::string name;
    std::string left;
    bool isAnd;
    std::string right;
    std::string expected;
};

void PrintTo(const JoinCase& example, std::ostream* os) { *os << example.name; }

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

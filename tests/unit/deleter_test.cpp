#include "vorn/deleter.h"

#include <gtest/gtest.h>

#include "render_case.h"

namespace {

using Case = vorn::test::RenderCase<CVORNDeleter>;
using D = CVORNDeleter;

const Case kCases[] = {
    {"WithCondition",
     [](D& d) {
         d.table("alarm");
         d.where(CVORNCriterion("(level=3)"));
     },
     "delete from alarm where (level=3)"},
    {"EveryRow", [](D& d) { d.table("alarm"); }, "delete from alarm"},
    {"SecondTableReplaces",
     [](D& d) {
         d.table("alarm");
         d.table("device");
     },
     "delete from device"},
    {"ContainedNameStillReplaces",
     [](D& d) {
         d.table("taskinfo");
         d.table("task");
     },
     "delete from task"},
    {"Nothing", [](D&) {}, "delete from "},
    {"SecondWhereReplaces",
     [](D& d) {
         d.table("t");
         d.where(CVORNCriterion("(a=1)"));
         d.where(CVORNCriterion("(b=2)"));
     },
     "delete from t where (b=2)"},
    {"ClearKeepsTable",
     [](D& d) {
         d.table("alarm");
         d.where(CVORNCriterion("(a=1)"));
         d.clear();
     },
     "delete from alarm"},
    {"QuotedTableVerbatim", [](D& d) { d.table("o'x"); }, "delete from o'x"},
};

class DeleterRendering : public ::testing::TestWithParam<Case> {};

TEST_P(DeleterRendering, RendersExactText) {
    vorn::test::expectRenders(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Deleter, DeleterRendering, ::testing::ValuesIn(kCases),
                         vorn::test::CaseName());

TEST(Deleter, TableReturnsTheNamedTableForConditions) {
    CVORNDeleter deleter;
    deleter.where(deleter.table("alarm")["level"] >= 2);
    EXPECT_EQ(deleter.toString(), "delete from alarm where (alarm.level >= 2)");
}

}  // namespace

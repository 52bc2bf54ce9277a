#include <gtest/gtest.h>

#include "render_case.h"
#include "vorn/deleter.h"
#include "vorn/droper.h"

namespace {

using D = CVORNDeleter;
using R = CVORNDroper;
using C = CVORNCriterion;

// clang-format off
const vorn::test::RenderCase<D> kDeleterCases[] = {
    {"WithCondition", [](D& d) { d.table("alarm"); d.where(C("(level=3)")); },
     "delete from alarm where (level=3)"},
    {"EveryRow", [](D& d) { d.table("o'x"); }, "delete from o'x"},
    {"SecondTableReplaces", [](D& d) { d.table("taskinfo"); d.table("task"); }, "delete from task"},
    {"Nothing", [](D&) {}, "delete from "},
    {"SecondWhereReplaces", [](D& d) { d.table("t"); d.where(C("(a=1)")); d.where(C("(b=2)")); },
     "delete from t where (b=2)"},
    {"ClearKeepsTable", [](D& d) { d.table("alarm"); d.where(C("(a=1)")); d.clear(); },
     "delete from alarm"},
};
// clang-format on

class DeleterRendering : public ::testing::TestWithParam<vorn::test::RenderCase<D>> {};

TEST_P(DeleterRendering, RendersExactText) {
    vorn::test::expectRenders(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Deleter, DeleterRendering, ::testing::ValuesIn(kDeleterCases),
                         vorn::test::CaseName());

TEST(Deleter, TableNamesConditions) {
    CVORNDeleter deleter;
    deleter.where(deleter.table("alarm")["level"] >= 2);
    EXPECT_EQ(deleter.toString(), "delete from alarm where (alarm.level >= 2)");
}

// clang-format off
const vorn::test::RenderCase<R> kDroperCases[] = {
    {"Table", [](R& d) { d.table("t_tmp"); }, "drop table t_tmp"},
    {"View", [](R& d) { d.view("v_alarm"); }, "drop view v_alarm"},
    {"DatabaseBeforeKind", [](R& d) { d.database("main"); d.table("o'x"); }, "drop main.table o'x"},
    {"ViewStaysAfterTable", [](R& d) { d.view("v"); d.table("t"); }, "drop view t"},
    {"IndexNeverRendered", [](R& d) { d.index("ix_a"); d.table("t"); }, "drop table t"},
    {"IndexOnly", [](R& d) { d.index("ix_a"); }, "drop "},
    {"DatabaseOnly", [](R& d) { d.database("main"); }, "drop main."},
    {"ClearEmptiesNames", [](R& d) { d.database("main"); d.table("t"); d.clear(); }, "drop "},
    {"TableAfterClear", [](R& d) { d.database("main"); d.table("t"); d.clear(); d.table("u"); },
     "drop table u"},
    {"ViewStaysAfterClear", [](R& d) { d.view("v"); d.clear(); d.table("t"); }, "drop view t"},
};
// clang-format on

class DroperRendering : public ::testing::TestWithParam<vorn::test::RenderCase<R>> {};

TEST_P(DroperRendering, RendersExactText) {
    vorn::test::expectRenders(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Droper, DroperRendering, ::testing::ValuesIn(kDroperCases),
                         vorn::test::CaseName());

}  // namespace

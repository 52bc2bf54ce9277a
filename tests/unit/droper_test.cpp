#include "vorn/droper.h"

#include <gtest/gtest.h>

#include "render_case.h"

namespace {

using Case = vorn::test::RenderCase<CVORNDroper>;
using D = CVORNDroper;

const Case kCases[] = {
    {"Table", [](D& d) { d.table("t_tmp"); }, "drop table t_tmp"},
    {"View", [](D& d) { d.view("v_alarm"); }, "drop view v_alarm"},
    {"DatabaseBeforeKind",
     [](D& d) {
         d.database("main");
         d.table("t");
     },
     "drop main.table t"},
    {"ViewStaysAfterTable",
     [](D& d) {
         d.view("v");
         d.table("t");
     },
     "drop view t"},
    {"IndexNeverRendered",
     [](D& d) {
         d.index("ix_a");
         d.table("t");
     },
     "drop table t"},
    {"IndexOnly", [](D& d) { d.index("ix_a"); }, "drop "},
    {"DatabaseOnly", [](D& d) { d.database("main"); }, "drop main."},
    {"Nothing", [](D&) {}, "drop "},
    {"ClearEmptiesNames",
     [](D& d) {
         d.database("main");
         d.table("t");
         d.clear();
     },
     "drop "},
    {"TableAfterClear",
     [](D& d) {
         d.database("main");
         d.table("t");
         d.clear();
         d.table("u");
     },
     "drop table u"},
    {"ViewStaysAfterClear",
     [](D& d) {
         d.view("v");
         d.clear();
         d.table("t");
     },
     "drop view t"},
    {"NamesVerbatim", [](D& d) { d.table("o'x"); }, "drop table o'x"},
};

class DroperRendering : public ::testing::TestWithParam<Case> {};

TEST_P(DroperRendering, RendersExactText) {
    vorn::test::expectRenders(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Droper, DroperRendering, ::testing::ValuesIn(kCases),
                         vorn::test::CaseName());

}  // namespace

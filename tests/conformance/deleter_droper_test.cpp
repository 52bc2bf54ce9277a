// The deleter's and the dropper's rendering rules: every setter with an empty
// input and a single quote, replaced by a later call; the documented examples
// word for word. Neither builder escapes a name.
#include <gtest/gtest.h>

#include "render_case.h"
#include "vorn/deleter.h"
#include "vorn/droper.h"

namespace {

using D = CVORNDeleter;
using R = CVORNDroper;
using C = CVORNCriterion;

// clang-format off
const vorn::test::RenderCase<D> kDeleterRules[] = {
    // The documented examples.
    {"Example1", [](D& d) { d.table("alarm"); d.where(C("(level=3)")); },
     "delete from alarm where (level=3)"},
    {"Example2", [](D& d) { d.table("alarm"); }, "delete from alarm"},
    {"Example3", [](D& d) { d.table("alarm"); d.table("device"); }, "delete from device"},
    {"Example4", [](D&) {}, "delete from "},
    {"TableEmpty", [](D& d) { d.table("a"); d.table(""); }, "delete from "},
    {"TableQuote", [](D& d) { d.table("o'x"); }, "delete from o'x"},
    {"TableReplacedNotListed", [](D& d) { d.table("taskinfo"); d.table("task"); }, "delete from task"},
    {"WhereEmpty", [](D& d) { d.table("t"); d.where(C()); }, "delete from t where "},
    {"WhereQuoteVerbatim", [](D& d) { d.table("t"); d.where(C("(n='a')")); },
     "delete from t where (n='a')"},
    {"WhereReplaced", [](D& d) { d.table("t"); d.where(C("(a=1)")); d.where(C("(b=2)")); },
     "delete from t where (b=2)"},
    {"WhereFromTable", [](D& d) { d.where(d.table("alarm")["level"] >= 2); },
     "delete from alarm where (alarm.level >= 2)"},
    {"ClearKeepsTable", [](D& d) { d.table("alarm"); d.where(C("(a=1)")); d.clear(); },
     "delete from alarm"},
};

const vorn::test::RenderCase<R> kDroperRules[] = {
    // The documented examples.
    {"Example1", [](R& d) { d.table("t_tmp"); }, "drop table t_tmp"},
    {"Example2", [](R& d) { d.view("v_alarm"); }, "drop view v_alarm"},
    {"Example3", [](R& d) { d.database("main"); d.table("t"); }, "drop main.table t"},
    {"Example4", [](R& d) { d.view("v"); d.table("t"); }, "drop view t"},
    {"Example5", [](R& d) { d.index("ix_a"); }, "drop "},
    {"Example6", [](R& d) { d.database("main"); }, "drop main."},
    {"TableEmpty", [](R& d) { d.table("t"); d.table(""); }, "drop "},
    {"TableQuote", [](R& d) { d.table("o'x"); }, "drop table o'x"},
    {"ViewEmpty", [](R& d) { d.view(""); }, "drop "},
    {"ViewQuote", [](R& d) { d.view("o'x"); }, "drop view o'x"},
    {"DatabaseEmpty", [](R& d) { d.database("main"); d.database(""); d.table("t"); }, "drop table t"},
    {"DatabaseQuote", [](R& d) { d.database("o'x"); d.table("t"); }, "drop o'x.table t"},
    {"IndexNeverRendered", [](R& d) { d.index("o'x"); d.table("t"); d.index(""); }, "drop table t"},
    {"ClearEmptiesNames", [](R& d) { d.database("main"); d.table("t"); d.clear(); }, "drop "},
    {"TableAfterClear", [](R& d) { d.database("main"); d.table("t"); d.clear(); d.table("u"); },
     "drop table u"},
    {"ViewStaysAfterClear", [](R& d) { d.view("v"); d.clear(); d.table("t"); }, "drop view t"},
};
// clang-format on

VORN_RENDER_RULES(Deleter, D, kDeleterRules);
VORN_RENDER_RULES(Droper, R, kDroperRules);

}  // namespace

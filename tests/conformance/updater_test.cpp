// The updater's rendering rules: every column and value type with an empty
// input, with a single quote, first and later in the set list, at the limits
// of each number type; the documented examples word for word.
#include "vorn/updater.h"

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <string>

#include "format_failure.h"
#include "render_case.h"

namespace {

using U = CVORNUpdater;
using C = CVORNCriterion;
using Case = vorn::test::RenderCase<U>;

// One assignment to column n of table t, first and after another assignment.
template <typename T>
Case value(const std::string& name, T v, const std::string& rendered) {
    return Case{name,
                [v](U& u) {
                    u.table("t");
                    u["n"].assign(v);
                },
                "update t set n=" + rendered};
}
template <typename T>
Case later(const std::string& name, T v, const std::string& rendered) {
    return Case{name,
                [v](U& u) {
                    u.table("t");
                    u["a"].assign(1);
                    u["n"].assign(v);
                },
                "update t set a=1,n=" + rendered};
}

// The first documented example, which the fourth continues.
void levelOfAlarm(U& u) {
    u.table("alarm");
    u["level"].assign(3);
}

// clang-format off
const Case kRules[] = {
    // The documented examples.
    {"Example1", levelOfAlarm, "update alarm set level=3"},
    {"Example2", [](U& u) { levelOfAlarm(u); u["text"].assign(std::string("it's")); u.where(C("(id=7)")); },
     "update alarm set level=3,text='it''s' where (id=7)"},
    {"Example3", [](U& u) { u.table("dev"); u["ratio"].assign(0.5); u["owner"].assign(CVORNNull());
         u["cnt"].assign(9UL); }, "update dev set ratio=0.500000,owner=NULL,cnt=9"},
    {"Example4", [](U& u) { levelOfAlarm(u); u.clear(); u["level"].assign(4); },
     "update alarm set level=4 where "},
    {"Example5", [](U&) {}, "update "},
    // table(): not escaped; a later call replaces.
    {"TableEmpty", [](U& u) { u.table(""); u["a"].assign(1); }, "update  set a=1"},
    {"TableQuote", [](U& u) { u.table("o'x"); u["a"].assign(1); }, "update o'x set a=1"},
    {"TableReplaced", [](U& u) { u.table("a"); u.table("b"); u["c"].assign(1); }, "update b set c=1"},
    // operator[]: " set " before the first column, "," before every later one.
    {"ColumnEmptyFirst", [](U& u) { u.table("t"); u[""].assign(1); }, "update t set =1"},
    {"ColumnEmptyLater", [](U& u) { u.table("t"); u["a"].assign(1); u[""].assign(2); },
     "update t set a=1,=2"},
    {"ColumnQuoteFirst", [](U& u) { u.table("t"); u["o'x"].assign(1); }, "update t set o''x=1"},
    {"ColumnQuoteLater", [](U& u) { u.table("t"); u["a"]["o'x"].assign(1); }, "update t set a,o''x=1"},
    {"AssignWithoutColumn", [](U& u) { u.table("t"); u.assign(1); }, "update t=1"},
    {"ColumnAfterBareAssign", [](U& u) { u.table("t"); u.assign(1); u["a"].assign(2); },
     "update t=1,a=2"},
    // Text values: quoted, single quotes doubled.
    value("StringEmpty", std::string(), "''"),
    value("StringQuote", std::string("it's"), "'it''s'"),
    later("StringQuoteLater", std::string("a''b"), "'a''''b'"),
    value("CStringEmpty", "", "''"),
    value("CStringQuote", "it's", "'it''s'"),
    value("CharQuote", '\'', "''''"),
    later("CharLater", 'a', "'a'"),
    value("Hostile", std::string("x'); DROP TABLE alarm; --"), "'x''); DROP TABLE alarm; --'"),
    later("NullLater", CVORNNull(), "NULL"),
    // Numbers: the clamps and formats of each type (every limit: tests/unit/number_text_test.cpp).
    value("UnsignedIntMaxClampsToZero", 4294967295U, "0"),
    value("UnsignedIntStaysPositive", 3000000000U, "3000000000"),
    value("UnsignedLongMaxClampsToZero", 4294967295UL, "0"),
    value("UnsignedLongAboveClampsToZero", ULONG_MAX, "0"),
    value("UnsignedLongBelowClamp", 4294967294UL, "4294967294"),
    value("Float", 2.5F, "2.500000"),
    later("DoubleLater", -0.125, "-0.125000"),
    // where(): the condition's text verbatim; a later call replaces; clear()
    // leaves a bare " where " that a later where() replaces.
    {"WhereEmpty", [](U& u) { u.table("t"); u["a"].assign(1); u.where(C()); },
     "update t set a=1 where "},
    {"WhereQuoteVerbatim", [](U& u) { u.table("t"); u["a"].assign(1); u.where(C("(n='a')")); },
     "update t set a=1 where (n='a')"},
    {"WhereFromTable", [](U& u) { u.where(u.table("t")["id"] == 7L); u["a"].assign(1); },
     "update t set a=1 where (t.id=7)"},
    {"WhereAfterClearReplaces", [](U& u) { u.table("a"); u.clear(); u.where(C("(x=1)"));
         u.where(C("(y=2)")); }, "update a where (y=2)"},
};
// clang-format on

VORN_RENDER_RULES(Updater, U, kRules);

TEST(Updater, NullCStringThrowsAfterTheOpeningQuoteAndStaysUsable) {
    CVORNUpdater updater;
    updater.table("t");
    const char* missing = nullptr;
    EXPECT_THROW(updater["a"].assign(missing), std::logic_error);
    updater["b"].assign(2);
    EXPECT_EQ(updater.toString(), "update t set a=',b=2");
}

TEST(Updater, OversizedNumberIsCutAndLogged) {
    vorn::test::LogCapture log;
    CVORNUpdater updater;
    updater.table("t");
    updater["d"].assign(-1e300);
    EXPECT_EQ(updater.toString(), "update t set d" + vorn::test::cutNumber("=%f", -1e300));
    vorn::test::expectFormatFailure(log, "CVORNUpdater", "assign", 205,
                                    "[VORNLib]CVORNUpdater::assign.snprintf_s failed");
}

}  // namespace

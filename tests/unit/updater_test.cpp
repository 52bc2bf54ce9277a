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

// One assignment to column n of table t.
template <typename T>
Case value(const std::string& name, T v, const std::string& rendered) {
    return Case{name,
                [v](U& u) {
                    u.table("t");
                    u["n"].assign(v);
                },
                "update t set n=" + rendered};
}

// clang-format off
const Case kCases[] = {
    {"AssignmentsAndCondition", [](U& u) { u.table("alarm"); u["level"].assign(3);
         u["text"].assign(std::string("it's")); u.where(C("(id=7)")); },
     "update alarm set level=3,text='it''s' where (id=7)"},
    {"MixedTypes", [](U& u) { u.table("dev"); u["ratio"].assign(0.5);
         u["owner"].assign(CVORNNull()); u["cnt"].assign(9UL); },
     "update dev set ratio=0.500000,owner=NULL,cnt=9"},
    {"ClearLeavesBareWhere", [](U& u) { u.table("a"); u["l"].assign(3); u.where(C("(id=7)"));
         u.clear(); u["l"].assign(4); },
     "update a set l=4 where "},
    {"WhereAfterClearReplaces", [](U& u) { u.table("a"); u.clear(); u.where(C("(x=1)"));
         u.where(C("(y=2)")); },
     "update a where (y=2)"},
    {"Nothing", [](U&) {}, "update "},
    {"AssignWithoutColumn", [](U& u) { u.table("t"); u.assign(1); }, "update t=1"},
    {"TwoColumnsOneValue", [](U& u) { u.table("t"); u["a"]["o'x"].assign(1); },
     "update t set a,o''x=1"},
    value("Short", static_cast<short>(SHRT_MIN), "-32768"),
    value("IntMin", INT_MIN, "-2147483648"),
    value("UnsignedIntMaxClampsToZero", 4294967295U, "0"),
    value("UnsignedIntStaysPositive", 3000000000U, "3000000000"),
    value("UnsignedLongMaxClampsToZero", 4294967295UL, "0"),
    value("UnsignedLongAboveClampsToZero", ULONG_MAX, "0"),
    value("UnsignedLongBelowClamp", 4294967294UL, "4294967294"),
    value("LongMin", LONG_MIN, "-9223372036854775808"),
    value("Float", 2.5F, "2.500000"),
    value("Double", -0.125, "-0.125000"),
    value("QuoteChar", '\'', "''''"),
    value("CString", "it's", "'it''s'"),
    value("Hostile", std::string("x'); DROP TABLE alarm; --"), "'x''); DROP TABLE alarm; --'"),
};
// clang-format on

class UpdaterRendering : public ::testing::TestWithParam<Case> {};

TEST_P(UpdaterRendering, RendersExactText) {
    vorn::test::expectRenders(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Updater, UpdaterRendering, ::testing::ValuesIn(kCases),
                         vorn::test::CaseName());

TEST(Updater, NullCStringThrowsAfterTheOpeningQuoteAndStaysUsable) {
    CVORNUpdater updater;
    updater.where(updater.table("t")["id"] == 7L);
    const char* missing = nullptr;
    EXPECT_THROW(updater["a"].assign(missing), std::logic_error);
    updater["b"].assign(2);
    EXPECT_EQ(updater.toString(), "update t set a=',b=2 where (t.id=7)");
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

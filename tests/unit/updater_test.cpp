#include "vorn/updater.h"

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <string>

#include "format_failure.h"
#include "log_capture.h"
#include "render_case.h"

namespace {

using Case = vorn::test::RenderCase<CVORNUpdater>;
using U = CVORNUpdater;

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

const Case kCases[] = {
    {"OneAssignment",
     [](U& u) {
         u.table("alarm");
         u["level"].assign(3);
     },
     "update alarm set level=3"},
    {"AssignmentsAndCondition",
     [](U& u) {
         u.table("alarm");
         u["level"].assign(3);
         u["text"].assign(std::string("it's"));
         u.where(CVORNCriterion("(id=7)"));
     },
     "update alarm set level=3,text='it''s' where (id=7)"},
    {"MixedTypes",
     [](U& u) {
         u.table("dev");
         u["ratio"].assign(0.5);
         u["owner"].assign(CVORNNull());
         u["cnt"].assign(9UL);
     },
     "update dev set ratio=0.500000,owner=NULL,cnt=9"},
    {"ClearLeavesBareWhere",
     [](U& u) {
         u.table("alarm");
         u["level"].assign(3);
         u.where(CVORNCriterion("(id=7)"));
         u.clear();
         u["level"].assign(4);
     },
     "update alarm set level=4 where "},
    {"WhereAfterClearReplaces",
     [](U& u) {
         u.table("a");
         u.clear();
         u.where(CVORNCriterion("(x=1)"));
     },
     "update a where (x=1)"},
    {"Nothing", [](U&) {}, "update "},
    {"AssignWithoutColumn",
     [](U& u) {
         u.table("t");
         u.assign(1);
     },
     "update t=1"},
    {"TwoColumnsOneValue",
     [](U& u) {
         u.table("t");
         u["a"]["b"].assign(1);
     },
     "update t set a,b=1"},
    {"QuotedColumn",
     [](U& u) {
         u.table("t");
         u["o'x"].assign(1);
     },
     "update t set o''x=1"},
    {"SecondWhereReplaces",
     [](U& u) {
         u.table("t");
         u.where(CVORNCriterion("(a=1)"));
         u.where(CVORNCriterion("(b=2)"));
     },
     "update t where (b=2)"},
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
    value("Null", CVORNNull(), "NULL"),
    value("Hostile", std::string("x'); DROP TABLE alarm; --"), "'x''); DROP TABLE alarm; --'"),
};

class UpdaterRendering : public ::testing::TestWithParam<Case> {};

TEST_P(UpdaterRendering, RendersExactText) {
    vorn::test::expectRenders(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Updater, UpdaterRendering, ::testing::ValuesIn(kCases),
                         vorn::test::CaseName());

TEST(Updater, TableReturnsTheNamedTableForConditions) {
    CVORNUpdater updater;
    updater.where(updater.table("alarm")["id"] == 7L);
    EXPECT_EQ(updater.toString(), "update alarm where (alarm.id=7)");
}

TEST(Updater, NullCStringThrowsAfterTheOpeningQuoteAndStaysUsable) {
    CVORNUpdater updater;
    updater.table("t");
    const char* missing = nullptr;
    try {
        updater["a"].assign(missing);
        FAIL() << "no exception";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "basic_string::_M_construct null not valid");
    }
    EXPECT_EQ(updater.toString(), "update t set a='");
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

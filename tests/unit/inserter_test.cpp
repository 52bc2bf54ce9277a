#include "vorn/inserter.h"

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <string>

#include "format_failure.h"
#include "render_case.h"

namespace {

using I = CVORNInserter;
using Case = vorn::test::RenderCase<I>;

// One value streamed into table t.
template <typename T>
Case value(const std::string& name, T v, const std::string& rendered) {
    return Case{name,
                [v](I& i) {
                    i.table("t");
                    i << v;
                },
                "insert into t values(" + rendered + ")"};
}

// clang-format off
const Case kCases[] = {
    {"ColumnsAndValues", [](I& i) { i.table("alarm");
         i["id"]["text"] << 5 << std::string("disk 'C' full"); },
     "insert into alarm (id,text) values(5,'disk ''C'' full')"},
    {"MixedTypes", [](I& i) { i.table("t");
         i["a"]["b"]["c"]["d"] << true << CVORNNull() << 2.5F << -7L; },
     "insert into t (a,b,c,d) values(1,NULL,2.500000,-7)"},
    {"ColumnWithoutValue", [](I& i) { i.table("alarm"); i["o'x"]; }, "insert into alarm (o''x))"},
    {"Nothing", [](I&) {}, "insert into )"},
    {"SecondTableReplaces", [](I& i) { i.table("a"); i.table("b"); i << 1; },
     "insert into b values(1)"},
    {"ClearKeepsTable", [](I& i) { i.table("t"); i["a"] << 1; i.clear(); i << 2; },
     "insert into t values(2)"},
    value("False", false, "0"),
    value("Short", static_cast<short>(SHRT_MIN), "-32768"),
    value("UnsignedShortMax", static_cast<unsigned short>(65535), "65535"),
    value("IntMin", INT_MIN, "-2147483648"),
    value("UnsignedIntMaxClampsToZero", 4294967295U, "0"),
    value("UnsignedIntSignedFormat", 3000000000U, "-1294967296"),
    value("UnsignedIntHalf", 2147483648U, "-2147483648"),
    value("UnsignedLongMaxClampsToZero", 4294967295UL, "0"),
    value("UnsignedLongAboveClampsToZero", 5000000000UL, "0"),
    value("UnsignedLongBelowClamp", 4294967294UL, "4294967294"),
    value("LongMin", LONG_MIN, "-9223372036854775808"),
    value("Double", 0.1, "0.100000"),
    value("QuoteChar", '\'', "''''"),
    value("CString", "it's", "'it''s'"),
    value("Hostile", std::string("x'); DROP TABLE alarm; --"), "'x''); DROP TABLE alarm; --'"),
};
// clang-format on

class InserterRendering : public ::testing::TestWithParam<Case> {};

TEST_P(InserterRendering, RendersExactText) {
    vorn::test::expectRenders(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Inserter, InserterRendering, ::testing::ValuesIn(kCases),
                         vorn::test::CaseName());

TEST(Inserter, NullCStringThrowsAfterOpeningTheLiteralAndStaysUsable) {
    CVORNInserter inserter;
    inserter.table("t");
    inserter << 1;
    const char* missing = nullptr;
    EXPECT_THROW(inserter << missing, std::logic_error);
    EXPECT_EQ(inserter.toString(), "insert into t values(1,')");
    inserter << 2;
    EXPECT_EQ(inserter.toString(), "insert into t values(1,',2)");
}

TEST(Inserter, OversizedNumberIsCutAndLogged) {
    vorn::test::LogCapture log;
    CVORNInserter inserter;
    inserter.table("t");
    inserter << 1e300 << 1;
    EXPECT_EQ(inserter.toString(),
              "insert into t values(" + vorn::test::cutNumber("%f", 1e300) + ",1)");
    vorn::test::expectFormatFailure(log, "CVORNInserter", "SetValue", 33,
                                    "[VORNLib]CVORNInserter::operator<<.snprintf_s failed");
}

}  // namespace

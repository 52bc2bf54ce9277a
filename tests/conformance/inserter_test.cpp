// The inserter's rendering rules: every column and value type with an empty
// input, with a single quote, first and later in its list, at the limits of
// each number type; the documented examples word for word.
#include "vorn/inserter.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "format_failure.h"
#include "render_case.h"

namespace {

using I = CVORNInserter;
using Case = vorn::test::RenderCase<I>;

// One value streamed into table t, first and after another value.
template <typename T>
Case value(const std::string& name, T v, const std::string& rendered) {
    return Case{name,
                [v](I& i) {
                    i.table("t");
                    i << v;
                },
                "insert into t values(" + rendered + ")"};
}
template <typename T>
Case later(const std::string& name, T v, const std::string& rendered) {
    return Case{name,
                [v](I& i) {
                    i.table("t");
                    i << 1 << v;
                },
                "insert into t values(1," + rendered + ")"};
}

const int n = 5;
const std::string s = "disk 'C' full";

// clang-format off
const Case kRules[] = {
    // The documented examples.
    {"Example1", [](I& i) { i.table("alarm"); i["id"]["text"] << n << s; },
     "insert into alarm (id,text) values(5,'disk ''C'' full')"},
    {"Example2", [](I& i) { i.table("alarm"); i << n << s; },
     "insert into alarm values(5,'disk ''C'' full')"},
    {"Example3", [](I& i) { i.table("t"); i["a"]["b"]["c"]["d"] << true << CVORNNull() << 2.5F << -7L; },
     "insert into t (a,b,c,d) values(1,NULL,2.500000,-7)"},
    {"Example4", [](I& i) { i.table("alarm"); i["id"]; }, "insert into alarm (id))"},
    {"Example5", [](I&) {}, "insert into )"},
    // table(): not escaped; a later call replaces; clear() keeps it.
    {"TableEmpty", [](I& i) { i.table(""); i << 1; }, "insert into  values(1)"},
    {"TableQuote", [](I& i) { i.table("o'x"); i << 1; }, "insert into o'x values(1)"},
    {"TableReplaced", [](I& i) { i.table("a"); i.table("b"); i << 1; }, "insert into b values(1)"},
    {"ClearKeepsTable", [](I& i) { i.table("t"); i["a"] << 1; i.clear(); i << 2; },
     "insert into t values(2)"},
    // operator[]: " (" before the first column, "," before every later one.
    {"ColumnEmptyFirst", [](I& i) { i.table("t"); i[""]["b"] << 1 << 2; },
     "insert into t (,b) values(1,2)"},
    {"ColumnEmptyLater", [](I& i) { i.table("t"); i["a"][""] << 1 << 2; },
     "insert into t (a,) values(1,2)"},
    {"ColumnQuoteFirst", [](I& i) { i.table("t"); i["o'x"]; }, "insert into t (o''x))"},
    {"ColumnQuoteLater", [](I& i) { i.table("t"); i["a"]["o'x"] << 1 << 2; },
     "insert into t (a,o''x) values(1,2)"},
    // Text values: quoted, single quotes doubled.
    value("StringEmpty", std::string(), "''"),
    value("StringQuote", std::string("it's"), "'it''s'"),
    later("StringEmptyLater", std::string(), "''"),
    later("StringQuoteLater", std::string("a''b"), "'a''''b'"),
    value("CStringEmpty", "", "''"),
    value("CStringQuote", "it's", "'it''s'"),
    later("CStringLater", "x", "'x'"),
    value("CharQuote", '\'', "''''"),
    later("CharLater", 'a', "'a'"),
    value("Hostile", std::string("x'); DROP TABLE alarm; --"), "'x''); DROP TABLE alarm; --'"),
    value("Null", CVORNNull(), "NULL"),
    later("NullLater", CVORNNull(), "NULL"),
    // Numbers: the clamps and formats of each type (every limit: tests/unit/number_text_test.cpp).
    value("False", false, "0"),
    later("True", true, "1"),
    value("UnsignedIntMaxClampsToZero", 4294967295U, "0"),
    value("UnsignedIntSignedFormat", 3000000000U, "-1294967296"),
    value("UnsignedIntHalf", 2147483648U, "-2147483648"),
    value("UnsignedLongMaxClampsToZero", 4294967295UL, "0"),
    value("UnsignedLongAboveClampsToZero", 5000000000UL, "0"),
    value("UnsignedLongBelowClamp", 4294967294UL, "4294967294"),
    value("Double", 0.1, "0.100000"),
    later("FloatLater", -0.5F, "-0.500000"),
};
// clang-format on

VORN_RENDER_RULES(Inserter, I, kRules);

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

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "format_failure.h"
#include "log_capture.h"
#include "render_case.h"
#include "vorn/base.h"
#include "vorn/criterion.h"
#include "vorn/selector.h"

namespace {

struct ComparisonCase {
    std::string name;
    std::string operand;
    std::function<CVORNCriterion(CVORNCriterionItem&)> compare;
    std::string expected;
};

void PrintTo(const ComparisonCase& example, std::ostream* os) {
    *os << example.name;
}

CVORNsqlstr rawStatement(const std::string& sql) {
    CVORNsqlstr raw;
    raw.assign(sql);
    return raw;
}

const std::string kHostile = "x'); DROP TABLE alarm; --";

using Item = CVORNCriterionItem;

const ComparisonCase kComparisons[] = {
    {"EqShort", "age", [](Item& i) { return i == static_cast<short>(5); }, "(age=5)"},
    {"EqInt", "age", [](Item& i) { return i == 5; }, "(age=5)"},
    {"EqLong", "age", [](Item& i) { return i == 5L; }, "(age=5)"},
    {"EqUnsigned", "age", [](Item& i) { return i == 5U; }, "(age=5)"},
    {"EqUnsignedLong", "age", [](Item& i) { return i == 5UL; }, "(age=5)"},
    {"NeShort", "age", [](Item& i) { return i != static_cast<short>(-3); }, "(age!=-3)"},
    {"NeInt", "age", [](Item& i) { return i != -3; }, "(age!=-3)"},
    {"NeLong", "age", [](Item& i) { return i != -3L; }, "(age!=-3)"},
    {"NeUnsigned", "age", [](Item& i) { return i != 7U; }, "(age!=7)"},
    {"EqUnsignedMax", "age", [](Item& i) { return i == 4294967295U; }, "(age=4294967295)"},
    {"EqShortMinusOne", "age", [](Item& i) { return i == static_cast<short>(-1); }, "(age=-1)"},
    {"NeUnsignedLongMax", "age", [](Item& i) { return i != 18446744073709551615UL; },
     "(age!=18446744073709551615)"},
    {"EqLongMin", "age", [](Item& i) { return i == (-9223372036854775807L - 1); },
     "(age=-9223372036854775808)"},
    {"GeInt", "age", [](Item& i) { return i >= 18; }, "(age >= 18)"},
    {"LeInt", "age", [](Item& i) { return i <= 65; }, "(age <= 65)"},
    {"GeMinusOne", "age", [](Item& i) { return i >= -1; }, "(age >= -1)"},
    {"EqFloat", "age", [](Item& i) { return i == 1.5F; }, "(age=1.500000)"},
    {"EqDouble", "age", [](Item& i) { return i == 2.5; }, "(age=2.500000)"},
    {"NeFloat", "age", [](Item& i) { return i != 1.5F; }, "(age!=1.500000)"},
    {"NeDouble", "age", [](Item& i) { return i != -0.25; }, "(age!=-0.250000)"},
    {"EqChar", "name", [](Item& i) { return i == 'y'; }, "(name='y')"},
    {"NeChar", "name", [](Item& i) { return i != 'y'; }, "(name!='y')"},
    {"EqQuoteCharVerbatim", "name", [](Item& i) { return i == '\''; }, "(name=''')"},
    {"EqString", "name", [](Item& i) { return i == std::string("bob"); }, "(name='bob')"},
    {"EqEmptyString", "name", [](Item& i) { return i == std::string(); }, "(name='')"},
    {"EqOneQuote", "name", [](Item& i) { return i == std::string("it's"); }, "(name='it''s')"},
    {"EqDoublesFirstQuoteOnly", "name", [](Item& i) { return i == std::string("a'b'c"); },
     "(name='a''b'c')"},
    {"EqLaterQuotesEndTheLiteral", "c",
     [](Item& i) { return i == std::string("x'' OR 1=1 OR ''='"); }, "(c='x''' OR 1=1 OR ''='')"},
    {"NeString", "name", [](Item& i) { return i != std::string("bob"); }, "(name!='bob')"},
    {"NeDoublesEveryQuote", "name", [](Item& i) { return i != std::string("a'b'c"); },
     "(name!='a''b''c')"},
    {"LeString", "ts", [](Item& i) { return i <= std::string("2020-01-01"); },
     "(ts <= '2020-01-01')"},
    {"GeString", "ts", [](Item& i) { return i >= std::string("2020-01-01"); },
     "(ts >= '2020-01-01')"},
    {"NeHostile", "text", [](Item& i) { return i != kHostile; },
     "(text!='x''); DROP TABLE alarm; --')"},
    {"LeHostile", "text", [](Item& i) { return i <= kHostile; },
     "(text <= 'x''); DROP TABLE alarm; --')"},
    {"GeHostile", "text", [](Item& i) { return i >= kHostile; },
     "(text >= 'x''); DROP TABLE alarm; --')"},
    {"LeStatementVerbatim", "age",
     [](Item& i) { return i <= rawStatement("select max(age) from person"); },
     "(age <= (select max(age) from person))"},
    {"GeStatementVerbatim", "age",
     [](Item& i) { return i >= rawStatement("select x from t where n='a'"); },
     "(age >= (select x from t where n='a'))"},
    {"EqItem", "age", [](Item& i) { return i == Item("b.age"); }, "(age=b.age)"},
    {"NeItem", "age", [](Item& i) { return i != Item("b.age"); }, "(age!=b.age)"},
    {"EqItemEscaped", "age", [](Item& i) { return i == Item("it's"); }, "(age=it''s)"},
    {"NeItemVerbatim", "age", [](Item& i) { return i != Item("it's"); }, "(age!=it's)"},
    {"InList", "id", [](Item& i) { return i.in("1,2,3"); }, "id in (1,2,3)"},
    {"InListEscaped", "id", [](Item& i) { return i.in("'a','b'"); }, "id in (''a'',''b'')"},
    {"InEmptyOperand", "", [](Item& i) { return i.in("1"); }, " in (1)"},
    {"NotInList", "id", [](Item& i) { return i.notIn("1,2,3"); }, "id not in (1,2,3)"},
    {"NotInVerbatim", "id", [](Item& i) { return i.notIn("'a','b'"); }, "id not in ('a','b')"},
    {"Like", "name", [](Item& i) { return i.like("a%b_"); }, "name LIKE 'a%b_'"},
    {"LikeQuote", "name", [](Item& i) { return i.like("it's%"); }, "name LIKE 'it''s%'"},
    {"CallOpensLiteral", "name", [](Item& i) { return i(std::string("bob")); }, "name'bob"},
    {"CallEscapes", "name", [](Item& i) { return i(std::string("it's")); }, "name'it''s"},
    {"EqEmptyOperand", "", [](Item& i) { return i == 5; }, "(=5)"},
};

class Comparison : public ::testing::TestWithParam<ComparisonCase> {};

TEST_P(Comparison, RendersFragmentAndKeepsItInTheOperand) {
    CVORNCriterionItem item(GetParam().operand);
    EXPECT_EQ(GetParam().compare(item).toString(), GetParam().expected);
    EXPECT_EQ(item.toString(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Operators, Comparison, ::testing::ValuesIn(kComparisons),
                         vorn::test::CaseName());

TEST(CriterionItem, InWithSelectorEscapesTheSubSelect) {
    CVORNSelector sub;
    sub.table("t");
    sub.select("id");
    EXPECT_EQ(CVORNCriterionItem("id").in(sub).toString(), "id in (select id from t)");
    sub.where(CVORNCriterion("(n='a')"));
    EXPECT_EQ(CVORNCriterionItem("id").in(sub).toString(),
              "id in (select id from t where (n=''a''))");
}

TEST(CriterionItem, SecondComparisonOnTheSameObjectChains) {
    CVORNCriterionItem age("age");
    age == 5;
    EXPECT_EQ((age >= 3).toString(), "((age=5) >= 3)");
    CVORNCriterionItem reused("age");
    reused == 1;
    EXPECT_EQ((reused == 2).toString(), "((age=1)=2)");
}

TEST(CriterionItem, SubscriptResetsTheTextAndComparesACopy) {
    CVORNCriterionItem item("(old=1)");
    EXPECT_EQ((item["age"] == 5).toString(), "(age=5)");
    EXPECT_EQ(item.toString(), "age");
    EXPECT_EQ(item["it's"].toString(), "it''s");
}

TEST(CriterionItem, CopiesCarryTheText) {
    CVORNCriterionItem source("age");
    CVORNCriterionItem copy(source);
    CVORNCriterionItem assigned;
    assigned = source;
    source == 1;
    EXPECT_EQ(copy.toString(), "age");
    EXPECT_EQ(assigned.toString(), "age");
    EXPECT_EQ(CVORNCriterionItem().toString(), "");
}

TEST(CriterionItem, OversizedDoubleIsCutAndLogged) {
    vorn::test::LogCapture log;
    CVORNCriterionItem eq("age");
    EXPECT_EQ((eq == 1e300).toString(), "(age" + vorn::test::cutNumber("=%f", 1e300) + ")");
    vorn::test::expectFormatFailure(log, "CVORNCriterionItem", "operator==", 0,
                                    "[VORNLib]CVORNCriterionItem::operator==.snprintf_s failed");
    log.reset();
    CVORNCriterionItem ne("age");
    EXPECT_EQ((ne != -1e300).toString(), "(age" + vorn::test::cutNumber("!=%f", -1e300) + ")");
    vorn::test::expectFormatFailure(log, "CVORNCriterionItem", "operator!=", 0,
                                    "[VORNLib]CVORNCriterionItem::operator!=.snprintf_s failed");
}

TEST(CriterionItem, NumbersThatFitLogNothing) {
    vorn::test::LogCapture log;
    CVORNCriterionItem("a") == 3.4e38F;
    CVORNCriterionItem("a") != 18446744073709551615UL;
    CVORNCriterionItem("a") >= -2147483647 - 1;
    EXPECT_TRUE(log.records().empty());
}

}  // namespace

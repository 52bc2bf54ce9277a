// The builders write numbers straight into a statement's text. The text must
// stay exactly what printf's formats give ("%d", "%ld", "%lu", "%u", "%f", the
// whole fragment cut at 199 characters), through every operator, inserter and
// updater that formats a number, at the limits of each type.
#include <gtest/gtest.h>
#include <locale.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "format_failure.h"
#include "render_case.h"
#include "vorn/criterion.h"
#include "vorn/inserter.h"
#include "vorn/selector.h"
#include "vorn/updater.h"

namespace {

using Item = CVORNCriterionItem;
using Bits = unsigned long;

// A value of type T from the bits of an unsigned long (two's complement).
template <typename T>
T as(Bits bits) {
    return static_cast<T>(bits);
}

// The old path's text: what snprintf makes of the value, cut at 199
// characters (the bounds-checked buffer's limit).
template <typename T>
std::string printed(const char* format, T value) {
    char text[512] = {};
    (void)std::snprintf(text, sizeof text, format, value);
    return std::string(text).substr(0, 199);
}

// printf's full text is longer than the 199 characters the old path allowed.
bool overflows(const char* format, double value) {
    return std::snprintf(nullptr, 0, format, value) > 199;
}

std::string inserted(const std::function<void(CVORNInserter&)>& stream) {
    CVORNInserter inserter;
    inserter.table("t");
    stream(inserter);
    return inserter.toString();
}

std::string assigned(const std::function<void(CVORNUpdater&)>& assign) {
    CVORNUpdater updater;
    updater.table("t");
    assign(updater["n"]);
    return updater.toString();
}

// The texts around a number: a condition over c, a row of t, an assignment
// to column n of t.
std::string operand(const std::string& number) {
    return "(c" + number + ")";
}
std::string values(const std::string& number) {
    return "insert into t values(" + number + ")";
}
std::string setTo(const std::string& number) {
    return "update t set n" + number;
}

struct IntegerSite {
    std::string name;
    std::function<std::string(Bits)> render;   // the library's text
    std::function<std::string(Bits)> printed;  // the old path's text
};
VORN_PRINT_BY_NAME(IntegerSite);

// clang-format off
const IntegerSite kIntegerSites[] = {
    {"CriterionEqualShort", [](Bits b) { return (Item("c") == as<short>(b)).toString(); },
     [](Bits b) { return operand(printed("=%ld", long{as<short>(b)})); }},
    {"CriterionEqualInt", [](Bits b) { return (Item("c") == as<int>(b)).toString(); },
     [](Bits b) { return operand(printed("=%ld", long{as<int>(b)})); }},
    {"CriterionEqualUnsignedInt", [](Bits b) { return (Item("c") == as<unsigned>(b)).toString(); },
     [](Bits b) { return operand(printed("=%lu", Bits{as<unsigned>(b)})); }},
    {"CriterionEqualUnsignedLong", [](Bits b) { return (Item("c") == as<Bits>(b)).toString(); },
     [](Bits b) { return operand(printed("=%lu", b)); }},
    {"CriterionEqualLong", [](Bits b) { return (Item("c") == as<long>(b)).toString(); },
     [](Bits b) { return operand(printed("=%ld", as<long>(b))); }},
    {"CriterionNotEqualShort", [](Bits b) { return (Item("c") != as<short>(b)).toString(); },
     [](Bits b) { return operand(printed("!=%ld", long{as<short>(b)})); }},
    {"CriterionNotEqualInt", [](Bits b) { return (Item("c") != as<int>(b)).toString(); },
     [](Bits b) { return operand(printed("!=%ld", long{as<int>(b)})); }},
    {"CriterionNotEqualUnsignedInt",
     [](Bits b) { return (Item("c") != as<unsigned>(b)).toString(); },
     [](Bits b) { return operand(printed("!=%lu", Bits{as<unsigned>(b)})); }},
    {"CriterionNotEqualUnsignedLong", [](Bits b) { return (Item("c") != as<Bits>(b)).toString(); },
     [](Bits b) { return operand(printed("!=%lu", b)); }},
    {"CriterionNotEqualLong", [](Bits b) { return (Item("c") != as<long>(b)).toString(); },
     [](Bits b) { return operand(printed("!=%ld", as<long>(b))); }},
    {"CriterionAtLeastInt", [](Bits b) { return (Item("c") >= as<int>(b)).toString(); },
     [](Bits b) { return operand(printed(" >= %d", as<int>(b))); }},
    {"CriterionAtMostInt", [](Bits b) { return (Item("c") <= as<int>(b)).toString(); },
     [](Bits b) { return operand(printed(" <= %d", as<int>(b))); }},
    {"InserterBool", [](Bits b) { return inserted([b](auto& i) { i << (b != 0); }); },
     [](Bits b) { return values(printed("%d", int{b != 0})); }},
    {"InserterShort", [](Bits b) { return inserted([b](auto& i) { i << as<short>(b); }); },
     [](Bits b) { return values(printed("%d", as<short>(b))); }},
    {"InserterInt", [](Bits b) { return inserted([b](auto& i) { i << as<int>(b); }); },
     [](Bits b) { return values(printed("%d", as<int>(b))); }},
    {"InserterUnsignedShort",
     [](Bits b) { return inserted([b](auto& i) { i << as<unsigned short>(b); }); },
     [](Bits b) { return values(printed("%d", int{as<unsigned short>(b)})); }},
    // 4294967295 is written as 0, the rest with the signed format.
    {"InserterUnsignedInt", [](Bits b) { return inserted([b](auto& i) { i << as<unsigned>(b); }); },
     [](Bits b) { return values(printed("%d", as<unsigned>(b) == UINT_MAX ? 0 : as<int>(b))); }},
    // 4294967295 and above are written as 0.
    {"InserterUnsignedLong", [](Bits b) { return inserted([b](auto& i) { i << as<Bits>(b); }); },
     [](Bits b) { return values(printed("%lu", b >= 4294967295UL ? 0UL : b)); }},
    {"InserterLong", [](Bits b) { return inserted([b](auto& i) { i << as<long>(b); }); },
     [](Bits b) { return values(printed("%ld", as<long>(b))); }},
    {"UpdaterShort", [](Bits b) { return assigned([b](auto& u) { u.assign(as<short>(b)); }); },
     [](Bits b) { return setTo(printed("=%d", as<short>(b))); }},
    {"UpdaterInt", [](Bits b) { return assigned([b](auto& u) { u.assign(as<int>(b)); }); },
     [](Bits b) { return setTo(printed("=%d", as<int>(b))); }},
    // 4294967295 is written as 0, the rest with the unsigned format.
    {"UpdaterUnsignedInt",
     [](Bits b) { return assigned([b](auto& u) { u.assign(as<unsigned>(b)); }); },
     [](Bits b) { const Bits wide = as<unsigned>(b);
                  return setTo(printed("=%lu", wide == UINT_MAX ? 0UL : wide)); }},
    {"UpdaterUnsignedLong",
     [](Bits b) { return assigned([b](auto& u) { u.assign(as<Bits>(b)); }); },
     [](Bits b) { return setTo(printed("=%lu", b >= 4294967295UL ? 0UL : b)); }},
    {"UpdaterLong", [](Bits b) { return assigned([b](auto& u) { u.assign(as<long>(b)); }); },
     [](Bits b) { return setTo(printed("=%ld", as<long>(b))); }},
    {"SelectorLimit",
     [](Bits b) { CVORNSelector s; s.table("t"); s.limit(as<unsigned>(b), as<unsigned>(~b));
                  return s.toString(); },
     [](Bits b) { return "select  *  from t LIMIT " + printed("%u", as<unsigned>(b)) +
                         " OFFSET " + printed("%u", as<unsigned>(~b)); }},
};
// clang-format on

// The limits of every type a site takes, and values around them.
const Bits kIntegers[] = {
    as<Bits>(LONG_MIN),
    as<Bits>(LONG_MIN + 1),
    as<Bits>(INT_MIN) - 1,
    as<Bits>(INT_MIN),
    as<Bits>(SHRT_MIN),
    as<Bits>(-42L),
    as<Bits>(-1L),
    0UL,
    1UL,
    9UL,
    10UL,
    42UL,
    SHRT_MAX,
    USHRT_MAX,
    INT_MAX,
    INT_MAX + 1UL,
    3000000000UL,
    UINT_MAX - 1UL,
    UINT_MAX,
    UINT_MAX + 1UL,
    LONG_MAX,
    ULONG_MAX - 1UL,
    ULONG_MAX,
};

class IntegerText : public ::testing::TestWithParam<IntegerSite> {};

TEST_P(IntegerText, IsPrintfsTextAtEveryLimit) {
    const IntegerSite& site = GetParam();
    for (const Bits bits : kIntegers) {
        EXPECT_EQ(site.render(bits), site.printed(bits)) << "bits " << bits;
    }
}

INSTANTIATE_TEST_SUITE_P(Sites, IntegerText, ::testing::ValuesIn(kIntegerSites),
                         vorn::test::CaseName());

struct DoubleSite {
    std::string name;
    std::function<std::string(double)> render;
    std::string prefix;  // before the "%f" text
    std::string suffix;  // after it
    const char* format;  // the old path's format
    bool isFloat;        // the site takes a float
    std::string unit;    // where a formatting failure is logged from
    std::string function;
};
VORN_PRINT_BY_NAME(DoubleSite);

float asFloat(double value) {
    return static_cast<float>(value);
}

// clang-format off
const DoubleSite kDoubleSites[] = {
    {"CriterionEqualDouble", [](double v) { return (Item("c") == v).toString(); },
     "(c", ")", "=%f", false, "CVORNCriterionItem", "operator=="},
    {"CriterionEqualFloat", [](double v) { return (Item("c") == asFloat(v)).toString(); },
     "(c", ")", "=%f", true, "CVORNCriterionItem", "operator=="},
    {"CriterionNotEqualDouble", [](double v) { return (Item("c") != v).toString(); },
     "(c", ")", "!=%f", false, "CVORNCriterionItem", "operator!="},
    {"CriterionNotEqualFloat", [](double v) { return (Item("c") != asFloat(v)).toString(); },
     "(c", ")", "!=%f", true, "CVORNCriterionItem", "operator!="},
    {"InserterDouble", [](double v) { return inserted([v](auto& i) { i << v; }); },
     "insert into t values(", ")", "%f", false, "CVORNInserter", "SetValue"},
    {"InserterFloat", [](double v) { return inserted([v](auto& i) { i << asFloat(v); }); },
     "insert into t values(", ")", "%f", true, "CVORNInserter", "SetValue"},
    {"UpdaterDouble", [](double v) { return assigned([v](auto& u) { u.assign(v); }); },
     "update t set n", "", "=%f", false, "CVORNUpdater", "assign"},
    {"UpdaterFloat", [](double v) { return assigned([v](auto& u) { u.assign(asFloat(v)); }); },
     "update t set n", "", "=%f", true, "CVORNUpdater", "assign"},
};
// clang-format on

// Zeros, ties at the sixth decimal (1/128 rounds down to even, 3/128 up),
// values below half a millionth, the largest exact integers, the lengths
// around the 199-character limit (1e190 prints 191 digits) and the values
// printf spells.
const double kDoubles[] = {
    0.0,      -0.0,       0.1,          -0.1,
    2.5,      1.0 / 128,  3.0 / 128,    -3.0 / 128,
    5e-7,     -5e-7,      1e-300,       DBL_TRUE_MIN,
    0.75e-6,  123456.789, 4294967295.5, 9007199254740993.0,
    1e22,     -1e22,      FLT_MAX,      1e189,
    1e190,    -1e190,     1e191,        DBL_MAX,
    -DBL_MAX, INFINITY,   -INFINITY,    NAN,
    -NAN,
};

class DoubleText : public ::testing::TestWithParam<DoubleSite> {};

// The value a site prints: a float site prints the float nearest the input.
double printedValue(const DoubleSite& site, double input) {
    return site.isFloat ? static_cast<double>(asFloat(input)) : input;
}

std::string oldText(const DoubleSite& site, double input) {
    return site.prefix + printed(site.format, printedValue(site, input)) + site.suffix;
}

TEST_P(DoubleText, IsPrintfsTextCutAndLoggedAsBefore) {
    const DoubleSite& site = GetParam();
    for (const double input : kDoubles) {
        vorn::test::LogCapture log;
        EXPECT_EQ(site.render(input), oldText(site, input)) << "value " << input;
        const auto records = log.records();
        if (overflows(site.format, printedValue(site, input))) {
            ASSERT_EQ(records.size(), 1U) << "value " << input;
            EXPECT_EQ(records.front().unit, site.unit);
            EXPECT_EQ(records.front().function, site.function);
        } else {
            EXPECT_TRUE(records.empty()) << "value " << input;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sites, DoubleText, ::testing::ValuesIn(kDoubleSites),
                         vorn::test::CaseName());

// Sets the calling thread's LC_NUMERIC for the object's lifetime.
class ThreadNumericLocale {
  public:
    explicit ThreadNumericLocale(locale_t locale) : m_previous(::uselocale(locale)) {}
    ~ThreadNumericLocale() { ::uselocale(m_previous); }
    ThreadNumericLocale(const ThreadNumericLocale&) = delete;
    ThreadNumericLocale& operator=(const ThreadNumericLocale&) = delete;

  private:
    locale_t m_previous;
};

locale_t decimalCommaLocale() {
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8", "de_DE",
                             "fr_FR", "nl_NL.UTF-8", "ru_RU.UTF-8"}) {
        if (const locale_t locale = ::newlocale(LC_NUMERIC_MASK, name, nullptr)) {
            return locale;
        }
    }
    return nullptr;
}

TEST(DoubleText, FollowsTheDecimalPointOfTheThreadsLocale) {
    const locale_t comma = decimalCommaLocale();
    if (comma == nullptr) {
        GTEST_SKIP() << "no locale with a decimal comma is installed (de_DE.UTF-8, fr_FR.UTF-8)";
    }
    {
        const ThreadNumericLocale scope(comma);
        const vorn::test::LogCapture log;  // 1e190 overflows after "!="
        ASSERT_EQ(printed("%f", 2.5), "2,500000");
        for (const DoubleSite& site : kDoubleSites) {
            for (const double value : {2.5, -0.125, 1e190}) {
                EXPECT_EQ(site.render(value), oldText(site, value))
                    << site.name << ", value " << value;
            }
        }
    }
    ::freelocale(comma);
}

}  // namespace

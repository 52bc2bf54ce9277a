// Numbers the store holds as numbers reach the reader's targets exactly as
// their text would: each stored integer and real is read into every target
// beside the same value stored as its text, and both reads must agree. Texts
// read into long, unsigned long, float and double as strtol, strtoul and
// strtod read them.
#include <gtest/gtest.h>

#include <cfenv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <variant>

#include "store_fixture.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

using Stored = std::variant<std::int64_t, double>;

struct Case {
    Stored value;
    const char* text;              // what a std::string target reads
    const char* pgText = nullptr;  // PostgreSQL's own text, where it differs
};

constexpr std::int64_t kInt64Min = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Integers at and beyond the limits of every narrower target, reals with and
// without a fraction, beyond the integers' ranges, subnormal, signed zero,
// infinite and NaN (which SQLite stores as NULL).
const Case kCases[] = {
    {std::int64_t{0}, "0"},
    {std::int64_t{-1}, "-1"},
    {std::int64_t{1}, "1"},
    {kInt64Min, "-9223372036854775808"},
    {kInt64Max, "9223372036854775807"},
    {std::int64_t{32767}, "32767"},
    {std::int64_t{32768}, "32768"},
    {std::int64_t{-32769}, "-32769"},
    {std::int64_t{65535}, "65535"},
    {std::int64_t{65536}, "65536"},
    {std::int64_t{2147483647}, "2147483647"},
    {std::int64_t{2147483648}, "2147483648"},
    {std::int64_t{-2147483649}, "-2147483649"},
    {std::int64_t{4294967295}, "4294967295"},
    {std::int64_t{4294967296}, "4294967296"},
    {std::int64_t{9007199254740993}, "9007199254740993"},
    {0.1, "0.1"},
    {0.0, "0"},
    {-0.0, "-0"},
    {2.5, "2.5"},
    {3.0, "3"},
    {-7.0, "-7"},
    {1e300, "1e+300"},
    {-1e300, "-1e+300"},
    {1e19, "1e+19"},
    {-1e19, "-1e+19"},
    {9223372036854775808.0, "9223372036854775808", "9.223372036854776e+18"},
    {2147483648.0, "2147483648"},
    {1e15, "1e+15"},
    {123456789012.5, "123456789012.5"},
    {1e39, "1e+39"},
    {1e-320, "1e-320"},
    {5e-324, "5e-324"},
    {std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
    {kInfinity, "inf", "Infinity"},
    {-kInfinity, "-inf", "-Infinity"},
    {std::numeric_limits<double>::quiet_NaN(), "", "NaN"},
};

template <class T>
bool sameValue(const T& a, const T& b) {
    if constexpr (std::is_floating_point_v<T>) {
        return std::memcmp(&a, &b, sizeof a) == 0;  // -0.0 is not 0.0
    } else {
        return a == b;
    }
}

class ReaderNumbersTest : public StoreTest {
  protected:
    // Stores the case's value in column x of its own type, its text (as a
    // std::string target reads it) in column t.
    void store(const Case& c) {
        const bool integer = std::holds_alternative<std::int64_t>(c.value);
        // An untyped SQLite column keeps each value's storage class as bound.
        const char* type = onPostgres() ? (integer ? "int8" : "float8") : "";
        ASSERT_EQ(runWrite("drop table if exists n"), 0u);
        ASSERT_EQ(runWrite(std::string("create table n(x ") + type + ", t text)"), 0u);
        BoundStatement insert("insert into n(x) values({x})");
        if (integer) {
            insert.bind("x", static_cast<long>(std::get<std::int64_t>(c.value)));
        } else {
            insert.bind("x", std::get<double>(c.value));
        }
        ASSERT_EQ(runStatement(insert), 0u);

        const Rows read = runQuery("select x from n", 1);
        ASSERT_EQ(read.size(), 1u);
        const std::string& text = read[0][0];
        const char* expected = onPostgres() && c.pgText != nullptr ? c.pgText : c.text;
        if (expected != nullptr) {
            ASSERT_EQ(text, expected);
        }
        BoundStatement update("update n set t = {t}");
        ASSERT_EQ(runStatement(update.bind("t", text)), 0u);
    }

    // Reads x and t into a T each, both starting from initial after a fresh
    // CVORNNull: value and NULL mark must agree.
    template <class T>
    void expectSameThroughNumberAndText(T initial) {
        OpenQuery query("select x, t from n");
        ASSERT_EQ(query.code, 0u);
        T fromNumber = initial;
        T fromText = initial;
        CVORNNull numberNull;
        CVORNNull textNull;
        query.reader >> numberNull >> fromNumber >> textNull >> fromText;
        EXPECT_TRUE(sameValue(fromNumber, fromText))
            << typeid(T).name() << ": " << ::testing::PrintToString(fromNumber)
            << " from the number, " << ::testing::PrintToString(fromText) << " from its text";
        EXPECT_EQ(static_cast<bool>(numberNull), static_cast<bool>(textNull)) << typeid(T).name();
    }
};

TEST_F(ReaderNumbersTest, EveryTargetReadsAStoredNumberAsItsText) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.text);
        store(c);
        if (HasFatalFailure()) {
            return;
        }
        expectSameThroughNumberAndText<char>('?');
        expectSameThroughNumberAndText<short>(short{-5});
        expectSameThroughNumberAndText<unsigned short>(static_cast<unsigned short>(5));
        expectSameThroughNumberAndText<int>(-5);
        expectSameThroughNumberAndText<unsigned int>(5u);
        expectSameThroughNumberAndText<long>(-5L);
        expectSameThroughNumberAndText<unsigned long>(5UL);
        expectSameThroughNumberAndText<float>(-5.5f);
        expectSameThroughNumberAndText<double>(-5.5);
        expectSameThroughNumberAndText<std::string>("previous");
    }
}

// Sets the rounding of floating-point arithmetic for the life of the object.
class RoundingMode {
  public:
    explicit RoundingMode(int mode) : m_saved(std::fegetround()) { std::fesetround(mode); }
    ~RoundingMode() { std::fesetround(m_saved); }
    RoundingMode(const RoundingMode&) = delete;
    RoundingMode& operator=(const RoundingMode&) = delete;

  private:
    int m_saved;
};

// Under a rounding the caller set, strtod may read a real's shortest text as a
// neighbour of the real: the number takes the same way as its text.
TEST_F(ReaderNumbersTest, RealsReadAsTheirTextUnderEveryRounding) {
    for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        for (const double real : {0.3, -0.3, 0.1, 1e23, 5e-324}) {
            SCOPED_TRACE(::testing::Message() << real << " rounding " << mode);
            store(Case{real, nullptr});
            if (HasFatalFailure()) {
                return;
            }
            const RoundingMode rounding(mode);
            expectSameThroughNumberAndText<double>(-5.5);
            expectSameThroughNumberAndText<float>(-5.5f);
        }
    }
}

// Plain decimals, and what the C functions read differently from a plain
// decimal: blanks, signs, hexadecimal, words, trailing text, exponents out of
// range, halfway and subnormal values, integers beyond 64 bits.
const char* const kTexts[] = {
    "0",
    "-0",
    "42",
    "-42",
    "0042",
    "+7",
    " 7",
    "7 ",
    "12abc",
    "0x1F",
    "1e5",
    "1E-5",
    "1.",
    ".5",
    "1.5e",
    "-.5",
    "0.1",
    "2.5",
    "1e400",
    "-1e400",
    "1e-400",
    "2.4703282292062328e-324",
    "2.4703282292062327e-324",
    "4.9406564584124654e-324",
    "1.7976931348623159e308",
    "9007199254740993",
    "9223372036854775807",
    "9223372036854775808",
    "-9223372036854775808",
    "-9223372036854775809",
    "18446744073709551615",
    "18446744073709551616",
    "-18446744073709551615",
    "123456789012345678901234567890",
    "inf",
    "-Infinity",
    "NaN",
    "abc",
    "-",
};

TEST_F(ReaderNumbersTest, TextsReadAsTheCFunctionsReadThem) {
    ASSERT_EQ(runWrite("create table s(t text)"), 0u);
    for (const char* text : kTexts) {
        SCOPED_TRACE(text);
        ASSERT_EQ(runWrite("delete from s"), 0u);
        BoundStatement insert("insert into s(t) values({t})");
        ASSERT_EQ(runStatement(insert.bind("t", text)), 0u);
        OpenQuery query("select t, t, t, t from s");
        ASSERT_EQ(query.code, 0u);
        long asLong = -5;
        unsigned long asUnsigned = 5;
        double asDouble = -5.5;
        float asFloat = -5.5f;
        query.reader >> asLong >> asUnsigned >> asDouble >> asFloat;
        EXPECT_EQ(asLong, std::strtol(text, nullptr, 10));
        EXPECT_EQ(asUnsigned, std::strtoul(text, nullptr, 10));
        const double expectedDouble = std::strtod(text, nullptr);
        const auto expectedFloat = static_cast<float>(expectedDouble);
        EXPECT_TRUE(sameValue(asDouble, expectedDouble)) << asDouble << " for " << expectedDouble;
        EXPECT_TRUE(sameValue(asFloat, expectedFloat)) << asFloat << " for " << expectedFloat;
    }
}

}  // namespace
}  // namespace vorn::test

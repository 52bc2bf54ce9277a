#include "exec/platform/safe_c.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <functional>
#include <string>
#include <vector>

namespace {

using vorn::platform::memcpy_s;
using vorn::platform::memset_s;
using vorn::platform::snprintf_s;

constexpr std::size_t kBufferSize = 200;
constexpr std::size_t kMaxCount = 199;

// The full text printf would produce, as the reference for cut results.
std::string fullText(double value) {
    std::vector<char> big(1024);
    const int n = std::snprintf(big.data(), big.size(), "%f", value);
    return std::string(big.data(), static_cast<std::size_t>(n));
}

// A call of snprintf_s into a 200-byte buffer with one argument, given the
// buffer and maxCount.
template <class T>
std::function<int(char*, std::size_t)> formats(const char* format, T argument) {
    return [format, argument](char* buffer, std::size_t maxCount) {
        return snprintf_s(buffer, kBufferSize, maxCount, format, argument);
    };
}

struct FormatCase {
    const char* name;
    std::size_t maxCount;
    std::function<int(char*, std::size_t)> format;
    int expectedResult;
    std::string expectedText;
};

TEST(SnprintfS, FormatsOrCutsAtMaxCount) {
    const std::string huge = fullText(1e300);
    ASSERT_GT(huge.size(), kMaxCount);
    const std::vector<FormatCase> cases = {
        {"int", kMaxCount, formats("%d", -42), 3, "-42"},
        {"empty format", kMaxCount, formats("%s", ""), 0, ""},
        {"exactly max count", 3, formats("%s", "abc"), 3, "abc"},
        {"one past max count", 3, formats("%s", "abcd"), -1, "abc"},
        {"float six decimals", kMaxCount, formats("%f", 2.5), 8, "2.500000"},
        {"huge double", kMaxCount, formats("%f", 1e300), -1, huge.substr(0, kMaxCount)},
        {"unsigned long max", kMaxCount, formats("%lu", 18446744073709551615UL), 20,
         "18446744073709551615"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        char buffer[kBufferSize] = {};
        EXPECT_EQ(c.format(buffer, c.maxCount), c.expectedResult);
        EXPECT_EQ(std::string(buffer), c.expectedText);
        // Nothing is written past the cut and its terminator.
        for (std::size_t i = c.expectedText.size(); i < kBufferSize; ++i) {
            ASSERT_EQ(buffer[i], '\0') << "byte " << i;
        }
    }
}

TEST(SnprintfS, RefusesInvalidArgumentsAndFailedFormatting) {
    const char* noFormat = nullptr;
    struct Case {
        const char* name;
        std::size_t destSize;
        std::size_t maxCount;
        const char* format;
    };
    const std::vector<Case> cases = {
        {"max count equals size", 8, 8, "%d"},
        {"max count above size", 8, 9, "%d"},
        {"null format", 8, 7, noFormat},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        char buffer[8];
        std::memset(buffer, 'x', sizeof buffer);
        EXPECT_EQ(snprintf_s(buffer, c.destSize, c.maxCount, c.format, 1), -1);
        EXPECT_EQ(buffer[0], '\0');
    }
    char untouched = 'x';
    EXPECT_EQ(snprintf_s(&untouched, 0, 0, "%d", 1), -1);
    EXPECT_EQ(untouched, 'x');
    EXPECT_EQ(snprintf_s(nullptr, 8, 7, "%d", 1), -1);
    // A wide character the C locale cannot convert makes the formatting fail:
    // the text is left empty.
    char buffer[8] = "xxxxxxx";
    EXPECT_EQ(snprintf_s(buffer, sizeof buffer, 7, "%ls", L"\xFFFF"), -1);
    EXPECT_EQ(buffer[0], '\0');
}

TEST(MemcpyS, CopiesOrRejectsWithZeroFill) {
    const char source[] = "ABCDEFGH";
    struct Case {
        const char* name;
        std::size_t destSize;
        const void* src;
        std::size_t count;
        int expectedResult;
        std::string expectedDest;  // the first 8 bytes of the destination afterwards
    };
    const std::vector<Case> cases = {
        {"whole", 8, source, 8, 0, "ABCDEFGH"},
        {"part", 8, source, 3, 0, "ABC....."},
        {"nothing", 8, source, 0, 0, "........"},
        {"count above size", 4, source, 5, ERANGE, std::string(4, '\0') + "...."},
        {"null source", 8, nullptr, 1, EINVAL, std::string(8, '\0')},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        char dest[8];
        std::memset(dest, '.', sizeof dest);
        EXPECT_EQ(memcpy_s(dest, c.destSize, c.src, c.count), c.expectedResult);
        EXPECT_EQ(std::string(dest, sizeof dest), c.expectedDest);
    }
    EXPECT_EQ(memcpy_s(nullptr, 8, source, 1), EINVAL);
}

TEST(MemcpyS, RefusesOverlapButAcceptsAdjacentRanges) {
    char buffer[16];
    std::memcpy(buffer, "0123456789abcdef", sizeof buffer);
    EXPECT_EQ(memcpy_s(buffer + 8, 8, buffer, 8), 0);  // adjacent, not overlapping
    EXPECT_EQ(std::string(buffer, sizeof buffer), "0123456701234567");

    EXPECT_EQ(memcpy_s(buffer + 2, 8, buffer, 4), EINVAL);
    EXPECT_EQ(std::string(buffer + 2, 8), std::string(8, '\0'));
    EXPECT_EQ(std::string(buffer, 2), "01");
    EXPECT_EQ(memcpy_s(buffer, 8, buffer + 1, 2), EINVAL);  // source just after dest
}

TEST(MemsetS, FillsOrRejectsWithinBounds) {
    struct Case {
        const char* name;
        std::size_t destSize;
        int value;
        std::size_t count;
        int expectedResult;
        std::string expectedDest;  // 8 bytes; the buffer is 8 bytes followed by a guard
    };
    const std::vector<Case> cases = {
        {"part", 8, 'a', 3, 0, "aaa....."},
        {"whole", 8, 'b', 8, 0, "bbbbbbbb"},
        {"nothing", 8, 'c', 0, 0, "........"},
        {"value taken as unsigned char", 8, 0x100 + 'd', 2, 0, "dd......"},
        {"count above size fills size", 4, 'e', 9, ERANGE, "eeee...."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        char dest[9];
        std::memset(dest, '.', sizeof dest);
        EXPECT_EQ(memset_s(dest, c.destSize, c.value, c.count), c.expectedResult);
        EXPECT_EQ(std::string(dest, 8), c.expectedDest);
        EXPECT_EQ(dest[8], '.');
    }
    EXPECT_EQ(memset_s(nullptr, 8, 0, 1), EINVAL);
}

}  // namespace

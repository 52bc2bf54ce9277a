#include <gtest/gtest.h>

#include <string>

#include "vorn/platform/logger.h"

namespace {

using vorn::platform::LogScrubber;

// One safe line: control characters escaped byte by byte, every other byte
// kept, and secrets masked (what counts as one: secret_mask_test.cpp).
TEST(LogScrubber, GivesOneSafeLine) {
    const struct {
        std::string input;
        std::string expected;
    } cases[] = {
        {"", ""},
        {"caf\xc3\xa9 \xe2\x82\xac \xc2\xa0", "caf\xc3\xa9 \xe2\x82\xac \xc2\xa0"},
        {"C:\\dir\\x41", "C:\\dir\\x41"},
        {"\r\n[VORNLib] fake line", "\\x0D\\x0A[VORNLib] fake line"},
        {"\x1b[31mred\x1b[0m", "\\x1B[31mred\\x1B[0m"},
        {std::string("a\0b", 3), "a\\x00b"},
        {"a\tb\a\x1f", "a\\x09b\\x07\\x1F"},
        {"x\x7fy", "x\\x7Fy"},
        {"\xc2\x9b"
         "31m",
         "\\xC2\\x9B31m"},  // C1 controls in UTF-8
        {"a\xc2\x85"
         "b\xc2\x80",
         "a\\xC2\\x85b\\xC2\\x80"},
        {"a\xc2", "a\xc2"},  // a truncated lead byte is kept
        // Masked before escaping, so the line break still ends the value.
        {"password=abc\r\nfake", "password=***\\x0D\\x0Afake"},
    };
    for (const auto& c : cases) {
        const std::string out = LogScrubber::scrub(c.input);
        EXPECT_EQ(out, c.expected) << c.input;
        for (const char ch : out) {
            const auto byte = static_cast<unsigned char>(ch);
            ASSERT_TRUE(byte >= 0x20 && byte != 0x7F) << "control byte left in " << out;
        }
    }
}

}  // namespace

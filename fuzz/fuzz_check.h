#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

// A broken invariant ends the run with abort(), which libFuzzer reports as a
// crash and saves the input that caused it.
#define VORN_FUZZ_CHECK(condition) VORN_FUZZ_CHECK_TEXT(condition, std::string_view())

// The same, printing the text the invariant was checked on (bytes outside
// printable ASCII as \xHH) to show what went wrong.
#define VORN_FUZZ_CHECK_TEXT(condition, text)                       \
    do {                                                            \
        if (!(condition)) {                                         \
            vorn::fuzz::fail(__FILE__, __LINE__, #condition, text); \
        }                                                           \
    } while (false)

namespace vorn::fuzz {

[[noreturn]] inline void fail(const char* file, int line, const char* condition,
                              std::string_view text) {
    std::string report =
        std::string(file) + ":" + std::to_string(line) + ": invariant broken: " + condition + "\n";
    if (!text.empty()) {
        report += "text: \"";
        for (const char c : text) {
            const auto byte = static_cast<unsigned char>(c);
            if (byte >= 0x20U && byte < 0x7FU && c != '\\') {
                report.push_back(c);
            } else {
                static constexpr char kHex[] = "0123456789ABCDEF";
                report += "\\x";
                report.push_back(kHex[byte >> 4U]);
                report.push_back(kHex[byte & 0x0FU]);
            }
        }
        report += "\"\n";
    }
    (void)std::fwrite(report.data(), 1, report.size(), stderr);
    std::abort();
}

// The floating-point value of these bits: every value, NaNs, infinities and
// subnormals included.
template <class Float, class Bits>
Float fromBits(Bits bits) {
    static_assert(sizeof(Float) == sizeof(Bits));
    Float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace vorn::fuzz

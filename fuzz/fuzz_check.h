#pragma once

#include <cstdio>
#include <cstdlib>
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
    std::fprintf(stderr, "%s:%d: invariant broken: %s\n", file, line, condition);
    if (!text.empty()) {
        std::fprintf(stderr, "text: \"");
        for (const char c : text) {
            const auto byte = static_cast<unsigned char>(c);
            if (byte >= 0x20U && byte < 0x7FU && c != '\\') {
                std::fputc(c, stderr);
            } else {
                std::fprintf(stderr, "\\x%02X", byte);
            }
        }
        std::fprintf(stderr, "\"\n");
    }
    std::abort();
}

}  // namespace vorn::fuzz

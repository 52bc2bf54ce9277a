#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "vorn/platform/safe_c.h"

// Printing of numbers into SQL text, shared by the conditions and the builders.
//
// Every number is printed with snprintf_s into a zero-filled buffer of
// kNumberBufferSize bytes, at most kNumberMaxChars characters. When snprintf_s
// reports -1 the failure is logged and the statement goes on with whatever the
// buffer holds (empty, or the text cut at kNumberMaxChars characters).
namespace vorn::detail {

inline constexpr std::size_t kNumberBufferSize = 200;
inline constexpr std::size_t kNumberMaxChars = 199;
// Error code of a formatting failure: -1 read as an unsigned 32-bit code.
inline constexpr std::uint32_t kFormatFailureCode = 0xFFFFFFFFu;

// Where a formatting failure is reported from, and what the log line says
// after the "[VORNLib]" tag.
struct FormatSite {
    const char* unit;
    const char* function;
    int line;
    std::string_view message;
};

// Logs "[VORNLib]" + site.message, scrubbed, at error level.
void logFormatFailure(const FormatSite& site);

// Appends the text of a buffer filled by snprintf_s. `written` is its result:
// on success exactly that many characters are appended; on -1 the failure is
// logged and the buffer is appended up to its first zero byte.
void appendNumber(std::string& out, const char* buffer, int written, const FormatSite& site);

// Prints one value with a printf format into a zero-filled buffer and appends
// the text to out, reporting a failure from site (see appendNumber).
template <class T>
void appendFormatted(std::string& out, const FormatSite& site, const char* format, T value) {
    char buffer[kNumberBufferSize] = {};
    const int written =
        platform::snprintf_s(buffer, kNumberBufferSize, kNumberMaxChars, format, value);
    appendNumber(out, buffer, written, site);
}

}  // namespace vorn::detail

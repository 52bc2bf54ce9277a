#include "statement/number_text.h"

#include <langinfo.h>

#include <cstring>

#include "exec/platform/safe_c.h"
#include "vorn/keywords.h"
#include "vorn/platform/logger.h"

namespace vorn::detail {

namespace {

// Whether "%f" writes the decimal point as '.': the C locale's, and that of
// most others. printf takes it from the calling thread's LC_NUMERIC.
bool decimalPointIsDot() {
    const char* point = ::nl_langinfo(RADIXCHAR);
    return point != nullptr && point[0] == '.' && point[1] == '\0';
}

// Logs "[VORNLib]" + site.message, scrubbed, at error level.
void logFormatFailure(const FormatSite& site) {
    std::string text;
    text.reserve(text::kLogTag.size() + site.message.size());
    text.append(text::kLogTag).append(site.message);
    platform::Logger::error(kFormatFailureCode,
                            platform::SourceLocation{site.unit, site.function, site.line},
                            platform::LogScrubber::scrub(text));
}

// Appends the text of a buffer filled by snprintf_s. `written` is its result:
// on success exactly that many characters are appended; on -1 the failure is
// logged and the buffer is appended up to its first zero byte.
void appendNumber(std::string& out, const char* buffer, int written, const FormatSite& site) {
    if (written < 0) {
        logFormatFailure(site);
        out.append(buffer, ::strnlen(buffer, kNumberBufferSize));
        return;
    }
    out.append(buffer, static_cast<std::size_t>(written));
}

}  // namespace

void appendFixed(std::string& out, const FormatSite& site, std::string_view prefix, double value) {
    // std::to_chars with a precision rounds the exact binary value as printf
    // does (ties to even) and writes inf, -inf, nan and -nan as "%f" does; it
    // fails where the text would pass kNumberMaxChars, as snprintf_s would.
    char text[kNumberBufferSize];
    std::memcpy(text, prefix.data(), prefix.size());
    const std::to_chars_result end = std::to_chars(text + prefix.size(), text + kNumberMaxChars,
                                                   value, std::chars_format::fixed, 6);
    if (end.ec == std::errc() && decimalPointIsDot()) {
        out.append(text, static_cast<std::size_t>(end.ptr - text));
        return;
    }
    const int length = static_cast<int>(prefix.size());
    char buffer[kNumberBufferSize] = {};
    const int written = platform::snprintf_s(buffer, kNumberBufferSize, kNumberMaxChars, "%.*s%f",
                                             length, prefix.data(), value);
    appendNumber(out, buffer, written, site);
}

}  // namespace vorn::detail

#include "statement/number_text.h"

#include <cstring>

#include "vorn/keywords.h"
#include "vorn/platform/logger.h"

namespace vorn::detail {

void logFormatFailure(const FormatSite& site) {
    std::string text;
    text.reserve(text::kLogTag.size() + site.message.size());
    text.append(text::kLogTag).append(site.message);
    platform::Logger::error(kFormatFailureCode,
                            platform::SourceLocation{site.unit, site.function, site.line},
                            platform::LogScrubber::scrub(text));
}

void appendNumber(std::string& out, const char* buffer, int written, const FormatSite& site) {
    if (written < 0) {
        logFormatFailure(site);
        out.append(buffer, ::strnlen(buffer, kNumberBufferSize));
        return;
    }
    out.append(buffer, static_cast<std::size_t>(written));
}

}  // namespace vorn::detail

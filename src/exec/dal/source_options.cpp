#include "exec/dal/source_options.h"

#include <charconv>
#include <cstdint>

#include "exec/dal/url_text.h"
#include "exec/platform/ascii.h"

namespace vorn::dal {
namespace {

using platform::equalsIgnoreCase;

constexpr std::string_view kCallTimeout = "vorn_call_timeout";
constexpr std::string_view kMaxConnections = "vorn_max_connections";
// A day: a longer deadline is a mistake in units, not a wish.
constexpr std::int64_t kLongestCallTimeoutMs = 24LL * 3600 * 1000;
constexpr int kMostConnections = 100000;

bool readNumber(std::string_view value, std::int64_t low, std::int64_t high, std::int64_t& out) {
    const auto [end, ec] = std::from_chars(value.data(), value.data() + value.size(), out);
    return ec == std::errc() && end == value.data() + value.size() && out >= low && out <= high;
}

}  // namespace

bool isSourceOption(std::string_view key) noexcept {
    return equalsIgnoreCase(key, kCallTimeout) || equalsIgnoreCase(key, kMaxConnections);
}

bool readSourceOptions(std::string_view url, SourceOptions& out, std::string& problem) {
    out = SourceOptions();
    const std::size_t query = urlQueryStart(url);
    if (query == std::string_view::npos) {
        return true;
    }
    return forEachQueryPair(url.substr(query + 1), [&](std::string_view pair, bool /*last*/) {
        const QueryPair option = QueryPair::split(pair);
        std::int64_t number = 0;
        if (equalsIgnoreCase(option.key, kCallTimeout)) {
            if (!readNumber(option.value, 1, kLongestCallTimeoutMs, number)) {
                problem = "vorn_call_timeout must be a number of milliseconds from 1 to " +
                          std::to_string(kLongestCallTimeoutMs);
                return false;
            }
            out.callTimeout = std::chrono::milliseconds(number);
        } else if (equalsIgnoreCase(option.key, kMaxConnections)) {
            if (!readNumber(option.value, 1, kMostConnections, number)) {
                problem = "vorn_max_connections must be a number from 1 to " +
                          std::to_string(kMostConnections);
                return false;
            }
            out.maxConnections = static_cast<int>(number);
        }
        return true;
    });
}

}  // namespace vorn::dal

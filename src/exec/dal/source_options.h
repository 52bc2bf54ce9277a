#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "exec/dal/url_text.h"

// The URL parameters every backend takes the same way, read by the core:
// "vorn_call_timeout=<ms>" and "vorn_max_connections=<n>". A backend's own
// URL check skips them (isSourceOption).
namespace vorn::dal {

struct SourceOptions {
    std::chrono::milliseconds callTimeout{0};  // 0: no deadline of the source's
    int maxConnections = 0;                    // 0: no budget
};

// Whether key (as written in the URL, any case) is one of the core's.
bool isSourceOption(std::string_view key) noexcept;

// Reads the core's parameters from url's query; false with a problem text
// when one is malformed.
bool readSourceOptions(std::string_view url, SourceOptions& out, std::string& problem);

// Calls apply(key, value) for each option of a backend's URL query (the text
// after '?'), leaving out empty pairs and the core's options; a pair without
// '=' is refused ("option \"x\" has no value"). Stops at the first refusal,
// or when apply returns false (having set problem), and returns false.
template <typename Apply>
bool forEachBackendOption(std::string_view query, std::string& problem, Apply&& apply) {
    return forEachQueryPair(query, [&](std::string_view pair, bool /*last*/) {
        if (pair.empty()) {
            return true;
        }
        const QueryPair option = QueryPair::split(pair);
        if (isSourceOption(option.key)) {
            return true;
        }
        if (!option.hasValue) {
            problem = "option \"" + std::string(option.key) + "\" has no value";
            return false;
        }
        return apply(option.key, option.value);
    });
}

}  // namespace vorn::dal

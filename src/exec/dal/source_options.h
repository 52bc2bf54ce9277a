#pragma once

#include <chrono>
#include <string>
#include <string_view>

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

}  // namespace vorn::dal

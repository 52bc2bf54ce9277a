#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// ASCII character helpers for protocol and configuration text (URLs, SQL
// keywords, option names), independent of the C locale.
namespace vorn::platform {

// Space, tab, line feed, carriage return, form feed, vertical tab.
inline bool isBlank(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

inline char lowerAscii(char c) noexcept {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

inline bool equalsIgnoreCase(std::string_view a, std::string_view b) noexcept {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (lowerAscii(a[i]) != lowerAscii(b[i])) {
            return false;
        }
    }
    return true;
}

inline bool startsWithIgnoreCase(std::string_view text, std::string_view prefix) noexcept {
    return text.size() >= prefix.size() && equalsIgnoreCase(text.substr(0, prefix.size()), prefix);
}

// The text without leading and trailing blanks.
inline std::string_view trimBlanks(std::string_view text) noexcept {
    std::size_t first = 0;
    std::size_t last = text.size();
    while (first < last && isBlank(text[first])) {
        ++first;
    }
    while (last > first && isBlank(text[last - 1])) {
        --last;
    }
    return text.substr(first, last - first);
}

// text on one line: trimmed, every run of blanks one blank (a store's
// message over several lines, for a log line or an error text).
inline std::string oneLine(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    bool pendingBlank = false;
    for (const char c : text) {
        if (isBlank(c)) {
            pendingBlank = !out.empty();
            continue;
        }
        if (pendingBlank) {
            out.push_back(' ');
            pendingBlank = false;
        }
        out.push_back(c);
    }
    return out;
}

}  // namespace vorn::platform

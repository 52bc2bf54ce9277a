#pragma once

#include <cstddef>
#include <string_view>

namespace vorn::dal {

// The scheme of a data-source URL (the text before the first ':'), or an empty
// view when the text does not start with a well-formed scheme.
std::string_view urlScheme(std::string_view url);

// Where the query part of url starts (the '?'), or npos when it has none. In
// a "scheme://" URL the user information comes first, up to the first '@'
// before the first '/', and may hold a '?' of a password (libpq reads a URL
// so), so the query is looked for after it.
std::size_t urlQueryStart(std::string_view url);

// Calls visit(pair, last) for each '&'-separated pair of a URL's query part
// (the text after '?'), empty pairs included, in order; last tells the final
// one. Stops early, returning false, when visit returns false.
template <typename Visit>
bool forEachQueryPair(std::string_view query, Visit&& visit) {
    std::size_t pos = 0;
    while (pos <= query.size()) {
        std::size_t end = query.find('&', pos);
        if (end == std::string_view::npos) {
            end = query.size();
        }
        if (!visit(query.substr(pos, end - pos), end == query.size())) {
            return false;
        }
        pos = end + 1;
    }
    return true;
}

// Splits a query pair at its first '='; value is empty when there is none
// (hasValue tells the two apart).
struct QueryPair {
    std::string_view key;
    std::string_view value;
    bool hasValue = false;

    static QueryPair split(std::string_view pair) noexcept {
        const std::size_t eq = pair.find('=');
        if (eq == std::string_view::npos) {
            return {pair, {}, false};
        }
        return {pair.substr(0, eq), pair.substr(eq + 1), true};
    }
};

}  // namespace vorn::dal

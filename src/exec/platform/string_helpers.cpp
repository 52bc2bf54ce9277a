#include "exec/platform/string_helpers.h"

namespace vorn::platform {

std::string escapeSingleQuotes(const std::string& text) {
    std::string out;
    out.reserve(text.size() + 8);
    for (const char c : text) {
        out.push_back(c);
        if (c == '\'') {
            out.push_back('\'');
        }
    }
    return out;
}

// The stores we support disagree on the LIKE escape character (SQLite has
// none unless an ESCAPE clause names one, PostgreSQL uses a backslash), and
// the statements carry no ESCAPE clause, so no escaping of wildcards could
// mean the same on both. The pattern is therefore passed through with only
// its quotes doubled: '%' and '_' keep their wildcard meaning.
std::string escapeLikePattern(const std::string& pattern) {
    return escapeSingleQuotes(pattern);
}

}  // namespace vorn::platform

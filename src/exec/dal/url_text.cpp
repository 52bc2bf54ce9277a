#include "exec/dal/url_text.h"

namespace vorn::dal {
namespace {

bool isSchemeStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isSchemeChar(char c) {
    return isSchemeStart(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
}

}  // namespace

std::string_view urlScheme(std::string_view url) {
    const std::size_t colon = url.find(':');
    if (colon == std::string_view::npos || colon == 0 || !isSchemeStart(url[0])) {
        return {};
    }
    for (std::size_t i = 1; i < colon; ++i) {
        if (!isSchemeChar(url[i])) {
            return {};
        }
    }
    return url.substr(0, colon);
}

std::size_t urlQueryStart(std::string_view url) {
    std::size_t from = urlScheme(url).size();
    if (from != 0 && url.compare(from, 3, "://") == 0) {
        from += 3;
        const std::size_t userInfoEnd = url.find_first_of("@/", from);
        if (userInfoEnd != std::string_view::npos && url[userInfoEnd] == '@') {
            from = userInfoEnd + 1;
        }
    }
    return url.find('?', from);
}

}  // namespace vorn::dal

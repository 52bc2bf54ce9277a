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

}  // namespace vorn::dal

#include "statement/escaping.h"

#include "vorn/platform/string_helpers.h"
#include "vorn/sqlite_util.h"

namespace vorn::detail {

namespace {

bool hasQuote(std::string_view text) {
    return text.find('\'') != std::string_view::npos;
}

}  // namespace

void appendEscaped(std::string& out, const std::string& text) {
    if (hasQuote(text)) {
        out.append(platform::escapeSingleQuotes(text));
    } else {
        out.append(text);
    }
}

void appendEscaped(std::string& out, std::string_view text) {
    if (hasQuote(text)) {
        out.append(platform::escapeSingleQuotes(std::string(text)));
    } else {
        out.append(text);
    }
}

void appendEscapedValue(std::string& out, const std::string& text) {
    if (hasQuote(text)) {
        out.append(CSQLiteUtil::getInstance()->replaceSpecialChar(text));
    } else {
        out.append(text);
    }
}

void appendEscapedValue(std::string& out, std::string_view text) {
    if (hasQuote(text)) {
        out.append(CSQLiteUtil::getInstance()->replaceSpecialChar(std::string(text)));
    } else {
        out.append(text);
    }
}

}  // namespace vorn::detail

#include "statement/escaping.h"

#include "exec/platform/string_helpers.h"
#include "vorn/sqlite_util.h"

namespace vorn::detail {

namespace {

// A plain loop: the texts are names and short values, for which a call of
// memchr costs more than the scan.
bool hasQuote(std::string_view text) {
    for (const char c : text) {
        if (c == '\'') {
            return true;
        }
    }
    return false;
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

void appendEscapedValue(std::string& out, std::string_view text) {
    if (hasQuote(text)) {
        out.append(CSQLiteUtil::getInstance()->replaceSpecialChar(std::string(text)));
    } else {
        out.append(text);
    }
}

std::string_view escaped(std::string_view text, std::string& storage) {
    if (!hasQuote(text)) {
        return text;
    }
    storage = platform::escapeSingleQuotes(std::string(text));
    return storage;
}

std::string_view escapedValue(std::string_view text, std::string& storage) {
    if (!hasQuote(text)) {
        return text;
    }
    storage = CSQLiteUtil::getInstance()->replaceSpecialChar(std::string(text));
    return storage;
}

}  // namespace vorn::detail

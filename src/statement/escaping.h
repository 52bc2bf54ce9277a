#pragma once

#include <string>
#include <string_view>

namespace vorn::detail {

// Appends text with every single quote doubled, as escapeSingleQuotes() makes
// it. A text without a quote is its own escaped form and is appended as it is,
// which spares a copy on the common path.
void appendEscaped(std::string& out, const std::string& text);
void appendEscaped(std::string& out, std::string_view text);

// The same for the text values of the inserter and the updater, whose quotes
// are doubled by the escaping singleton (CSQLiteUtil::replaceSpecialChar).
void appendEscapedValue(std::string& out, std::string_view text);

// text with every single quote doubled, as appendEscaped() writes it: text
// itself when it holds no quote, otherwise the escaped copy, kept in storage.
std::string_view escaped(std::string_view text, std::string& storage);

// The same for the text values of the inserter and the updater
// (appendEscapedValue).
std::string_view escapedValue(std::string_view text, std::string& storage);

}  // namespace vorn::detail

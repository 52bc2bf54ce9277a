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
void appendEscapedValue(std::string& out, const std::string& text);
void appendEscapedValue(std::string& out, std::string_view text);

}  // namespace vorn::detail

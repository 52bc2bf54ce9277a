#pragma once

#include <cstddef>
#include <string_view>

namespace vorn::dal {

// If a quoted text ('...', "...") or a comment (-- to the end of the line,
// /* ... */) starts at pos, the position just after it (the end of sql when it
// is not closed); otherwise pos itself.
std::size_t skipQuotedOrComment(std::string_view sql, std::size_t pos);

// True when sql holds nothing but blanks, semicolons and comments, i.e. no
// further statement.
bool isBlankSql(std::string_view sql);

}  // namespace vorn::dal

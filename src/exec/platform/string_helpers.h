#pragma once

#include <string>

#include "vorn/export.h"

namespace vorn::platform {

// The text with every single quote doubled and nothing else changed, ready to
// stand between single quotes as an SQL string literal.
std::string escapeSingleQuotes(const std::string& text);

// A LIKE pattern made safe to stand between single quotes: single quotes are
// doubled and nothing else changes, so '%' and '_' stay wildcards. No ESCAPE
// clause is written, so there is no portable escape character: SQLite treats a
// backslash as an ordinary character, PostgreSQL as its default escape.
std::string escapeLikePattern(const std::string& pattern);

}  // namespace vorn::platform

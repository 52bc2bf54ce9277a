#include "exec/dal/sql_scanner.h"

namespace vorn::dal {
namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

}  // namespace

std::size_t skipQuotedOrComment(std::string_view sql, std::size_t pos) {
    if (pos >= sql.size()) {
        return pos;
    }
    const char c = sql[pos];
    if (c == '\'' || c == '"') {
        // A doubled quote inside the text closes and reopens it, which comes
        // to the same thing.
        const std::size_t close = sql.find(c, pos + 1);
        return close == std::string_view::npos ? sql.size() : close + 1;
    }
    if (c == '-' && pos + 1 < sql.size() && sql[pos + 1] == '-') {
        const std::size_t newline = sql.find('\n', pos + 2);
        return newline == std::string_view::npos ? sql.size() : newline + 1;
    }
    if (c == '/' && pos + 1 < sql.size() && sql[pos + 1] == '*') {
        const std::size_t close = sql.find("*/", pos + 2);
        return close == std::string_view::npos ? sql.size() : close + 2;
    }
    return pos;
}

bool isBlankSql(std::string_view sql) {
    std::size_t pos = 0;
    while (pos < sql.size()) {
        const char c = sql[pos];
        if (isBlank(c) || c == ';') {
            ++pos;
            continue;
        }
        if (c == '\'' || c == '"') {
            return false;
        }
        const std::size_t after = skipQuotedOrComment(sql, pos);
        if (after == pos) {
            return false;
        }
        pos = after;
    }
    return true;
}

}  // namespace vorn::dal

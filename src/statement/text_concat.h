#pragma once

#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

// Joining the fragments of a statement. Each std::string::append is a call
// into the standard library with its own capacity check (and, piece by piece,
// possibly a reallocation); the helpers below size the result once and copy
// the pieces into it.
namespace vorn::detail {

inline std::size_t totalSize(std::initializer_list<std::string_view> pieces) {
    std::size_t size = 0;
    for (const std::string_view piece : pieces) {
        size += piece.size();
    }
    return size;
}

inline void copyPieces(char* next, std::initializer_list<std::string_view> pieces) {
    for (const std::string_view piece : pieces) {
        // Most pieces are one character (a parenthesis, a quote, a comma),
        // which needs no call of memcpy.
        if (piece.size() == 1) {
            *next++ = piece.front();
        } else if (!piece.empty()) {
            std::memcpy(next, piece.data(), piece.size());
            next += piece.size();
        }
    }
}

// The pieces one after the other, in a new string. A piece may view the text
// of the string the result is then assigned to.
inline std::string concat(std::initializer_list<std::string_view> pieces) {
    std::string text(totalSize(pieces), '\0');
    copyPieces(text.data(), pieces);
    return text;
}

// Appends the pieces to out, growing it once. No piece may view out's text.
inline void appendConcat(std::string& out, std::initializer_list<std::string_view> pieces) {
    const std::size_t at = out.size();
    out.append(totalSize(pieces), '\0');
    copyPieces(out.data() + at, pieces);
}

}  // namespace vorn::detail

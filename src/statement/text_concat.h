#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

#include "vorn/detail/inline_text.h"

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

// Copies a piece of at most 16 characters with at most four fixed-size
// moves, which the compiler writes inline: most pieces of a statement are a
// few characters long (a keyword, a name, a number), and a call of memcpy
// costs more than copying them. Two moves of one width may overlap; neither
// reads or writes outside the piece.
template <class Word>
inline void copyEnds(char* to, const char* from, std::size_t size) {
    Word head;
    Word tail;
    std::memcpy(&head, from, sizeof head);
    std::memcpy(&tail, from + size - sizeof tail, sizeof tail);
    std::memcpy(to, &head, sizeof head);
    std::memcpy(to + size - sizeof tail, &tail, sizeof tail);
}

inline void copyShort(char* to, const char* from, std::size_t size) {
    if (size >= 8) {
        copyEnds<std::uint64_t>(to, from, size);
    } else if (size >= 4) {
        copyEnds<std::uint32_t>(to, from, size);
    } else if (size >= 2) {
        copyEnds<std::uint16_t>(to, from, size);
    } else if (size == 1) {
        *to = *from;
    }
}

inline void copyPieces(char* next, std::initializer_list<std::string_view> pieces) {
    constexpr std::size_t kShortPiece = 16;
    for (const std::string_view piece : pieces) {
        if (piece.size() <= kShortPiece) {
            copyShort(next, piece.data(), piece.size());
        } else {
            std::memcpy(next, piece.data(), piece.size());
        }
        next += piece.size();
    }
}

// The pieces one after the other, in a new string. A piece may view the text
// of the string the result is then assigned to.
inline std::string concat(std::initializer_list<std::string_view> pieces) {
    std::string text(totalSize(pieces), '\0');
    copyPieces(text.data(), pieces);
    return text;
}

// Where count more characters of out start, once out is lengthened by them.
inline char* growBy(std::string& out, std::size_t count) {
    const std::size_t at = out.size();
    out.append(count, '\0');
    return out.data() + at;
}

inline char* growBy(InlineText& out, std::size_t count) {
    return out.grow(count);
}

// Appends the pieces to out, growing it once. No piece may view out's text.
template <class Text>
void appendConcat(Text& out, std::initializer_list<std::string_view> pieces) {
    copyPieces(growBy(out, totalSize(pieces)), pieces);
}

// Makes out "(" + out + the pieces + ")" in place, growing it once. No piece
// may view out's text.
template <class Text>
void encloseConcat(Text& out, std::initializer_list<std::string_view> pieces) {
    const std::size_t size = out.size();
    growBy(out, totalSize(pieces) + 2);
    char* text = out.data();
    std::memmove(text + 1, text, size);
    text[0] = '(';
    copyPieces(text + 1 + size, pieces);
    text[out.size() - 1] = ')';
}

}  // namespace vorn::detail

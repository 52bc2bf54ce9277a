#pragma once

#include <cstddef>
#include <string_view>

namespace vorn::dal {

// Splits PostgreSQL statement text into tokens, skipping blanks and comments
// (-- to the end of the line, and /* ... */, which nest). Quoted text is one
// token: '...' with '' inside, E'...' with backslash escapes as well, "..."
// identifiers, and dollar-quoted $tag$...$tag$. Plain '...' is read with
// standard_conforming_strings on (PostgreSQL's default), i.e. a backslash is
// an ordinary character. A text that is not closed runs to the end.
class PgSqlScanner {
  public:
    enum class Kind {
        End,     // no more tokens
        Word,    // keyword or unquoted identifier
        Number,  // numeric literal
        Param,   // $1, $2, ...
        Quoted,  // quoted text or identifier
        Symbol,  // any other single character: ( ) , ; + ...
    };

    struct Token {
        Kind kind = Kind::End;
        std::size_t begin = 0;  // offsets into the text
        std::size_t end = 0;

        // Case-insensitive comparison of a Word token with a lower-case keyword.
        bool is(std::string_view text, std::string_view keyword) const;
        bool isSymbol(std::string_view text, char c) const {
            return kind == Kind::Symbol && text[begin] == c;
        }
    };

    explicit PgSqlScanner(std::string_view text) noexcept : m_text(text) {}

    Token next();
    std::string_view text() const noexcept { return m_text; }
    std::size_t position() const noexcept { return m_pos; }

  private:
    void skipBlanksAndComments();
    std::size_t endOfQuoted(std::size_t pos, char quote, bool backslashEscapes) const;
    std::size_t endOfDollarQuoted(std::size_t pos, std::size_t tagEnd) const;

    std::string_view m_text;
    std::size_t m_pos = 0;
};

}  // namespace vorn::dal

#pragma once

#include <cstddef>
#include <string_view>

namespace vorn::dal {

// The quoting rules of one store's SQL. Every dialect knows '...' texts with
// '' inside, "..." identifiers, -- comments to the end of the line and
// /* ... */ comments; the rest differs. A dialect sets the rules it has by
// name, each one on its own line, starting from a default SqlDialect (see
// kPostgresDialect, kSqliteDialect): a list of bare booleans says nothing
// about which rule is which.
struct SqlDialect {
    bool escapeStrings = false;        // E'...' with backslash escapes (PostgreSQL)
    bool dollarQuotes = false;         // $$...$$ and $tag$...$tag$ (PostgreSQL)
    bool nestedComments = false;       // /* /* */ */ nests (PostgreSQL)
    bool bracketIdentifiers = false;   // [name] and `name` identifiers (SQLite)
    bool backtickIdentifiers = false;  // `name` identifiers only (MariaDB)
    bool hashComments = false;         // # comments to the end of the line (MariaDB)
};

// Splits statement text into tokens, skipping blanks and comments. Quoted text
// is one token, as the dialect quotes it; a quoted text that is not closed
// runs to the end. "{key}" (up to the next '}') is one Placeholder token: the
// batch's named parameters. Plain '...' is read with backslash as an ordinary
// character (PostgreSQL's standard_conforming_strings, SQLite's only rule).
//
// The text is scanned, not parsed: the store stays the judge of syntax. The
// same lexer finds placeholders and tells statements apart, so both always
// agree about what is quoted.
class SqlLexer {
  public:
    enum class Kind {
        End,          // no more tokens
        Word,         // keyword or unquoted identifier
        Number,       // numeric literal
        Param,        // $1, $2, ...
        Placeholder,  // {key}
        Quoted,       // quoted text or identifier
        Symbol,       // any other single character: ( ) , ; + ...
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

    SqlLexer(std::string_view text, const SqlDialect& dialect) noexcept
        : m_text(text), m_dialect(dialect) {}

    Token next();
    std::string_view text() const noexcept { return m_text; }
    std::size_t position() const noexcept { return m_pos; }

  private:
    void skipBlanksAndComments();
    void skipBlockComment();
    bool quoted(Token& token);
    std::size_t placeholderEnd(std::size_t pos);
    std::size_t endOfQuoted(std::size_t pos, char quote, bool backslashEscapes) const;
    std::size_t endOfDollarQuoted(std::size_t pos, std::size_t tagEnd) const;

    std::string_view m_text;
    SqlDialect m_dialect;
    std::size_t m_pos = 0;
    std::size_t m_noBraceFrom = std::string_view::npos;  // no '}' at or after this
};

// True when sql holds nothing but blanks, semicolons and comments.
bool holdsNoStatement(std::string_view sql, const SqlDialect& dialect);

// True when sql holds a further statement after a top-level ';'.
bool hasSecondStatement(std::string_view sql, const SqlDialect& dialect);

}  // namespace vorn::dal

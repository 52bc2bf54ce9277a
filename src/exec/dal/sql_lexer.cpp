#include "exec/dal/sql_lexer.h"

#include "exec/platform/ascii.h"

namespace vorn::dal {

using platform::isBlank;
using platform::lowerAscii;
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Identifiers may hold any non-ASCII byte (UTF-8 letters).
bool isWordStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
}

bool isWordChar(char c) {
    return isWordStart(c) || isDigit(c) || c == '$';
}

}  // namespace

bool SqlLexer::Token::is(std::string_view text, std::string_view keyword) const {
    if (kind != Kind::Word || end - begin != keyword.size()) {
        return false;
    }
    for (std::size_t i = 0; i < keyword.size(); ++i) {
        if (lowerAscii(text[begin + i]) != keyword[i]) {
            return false;
        }
    }
    return true;
}

void SqlLexer::skipBlanksAndComments() {
    while (m_pos < m_text.size()) {
        const std::string_view rest = m_text.substr(m_pos, 2);
        if (isBlank(m_text[m_pos])) {
            ++m_pos;
        } else if (rest == "--" || (m_dialect.hashComments && m_text[m_pos] == '#')) {
            const std::size_t newline = m_text.find('\n', m_pos + 1);
            m_pos = newline == std::string_view::npos ? m_text.size() : newline + 1;
        } else if (rest == "/*") {
            skipBlockComment();
        } else {
            return;
        }
    }
}

// m_pos is at the "/*" that opens the comment.
void SqlLexer::skipBlockComment() {
    int depth = 1;
    m_pos += 2;
    while (m_pos < m_text.size() && depth > 0) {
        const std::string_view pair = m_text.substr(m_pos, 2);
        if (pair == "*/") {
            --depth;
            m_pos += 2;
        } else if (pair == "/*" && m_dialect.nestedComments) {
            ++depth;
            m_pos += 2;
        } else {
            ++m_pos;
        }
    }
}

// pos is just after the opening quote.
std::size_t SqlLexer::endOfQuoted(std::size_t pos, char quote, bool backslashEscapes) const {
    while (pos < m_text.size()) {
        const char c = m_text[pos];
        if (backslashEscapes && c == '\\') {
            pos += 2;
        } else if (c == quote) {
            if (pos + 1 < m_text.size() && m_text[pos + 1] == quote) {
                pos += 2;  // doubled quote
            } else {
                return pos + 1;
            }
        } else {
            ++pos;
        }
    }
    return m_text.size();
}

// pos is at the opening '$', tagEnd at the '$' closing the tag.
std::size_t SqlLexer::endOfDollarQuoted(std::size_t pos, std::size_t tagEnd) const {
    const std::string_view tag = m_text.substr(pos, tagEnd - pos + 1);
    const std::size_t close = m_text.find(tag, tagEnd + 1);
    return close == std::string_view::npos ? m_text.size() : close + tag.size();
}

// The '}' that closes a placeholder whose key starts at pos, or npos. Once
// no '}' is left, none is looked for again.
std::size_t SqlLexer::placeholderEnd(std::size_t pos) {
    if (pos < m_noBraceFrom) {
        const std::size_t close = m_text.find('}', pos);
        if (close != std::string_view::npos) {
            return close;
        }
        m_noBraceFrom = pos;
    }
    return std::string_view::npos;
}

// Reads the quoted text or identifier that starts at m_pos, if any, into token.
bool SqlLexer::quoted(Token& token) {
    const char c = m_text[m_pos];
    const std::size_t after = m_pos + 1;
    const bool hasNext = after < m_text.size();
    token.kind = Kind::Quoted;
    if (c == '\'' || c == '"') {
        token.end = endOfQuoted(after, c, false);
    } else if (m_dialect.escapeStrings && (c == 'e' || c == 'E') && hasNext &&
               m_text[after] == '\'') {
        token.end = endOfQuoted(after + 1, '\'', true);
    } else if ((m_dialect.bracketIdentifiers || m_dialect.backtickIdentifiers) && c == '`') {
        token.end = endOfQuoted(after, '`', false);
    } else if (m_dialect.bracketIdentifiers && c == '[') {
        const std::size_t close = m_text.find(']', after);
        token.end = close == std::string_view::npos ? m_text.size() : close + 1;
    } else if (m_dialect.dollarQuotes && c == '$' && hasNext && !isDigit(m_text[after])) {
        std::size_t tagEnd = after;
        while (tagEnd < m_text.size() && isWordChar(m_text[tagEnd]) && m_text[tagEnd] != '$') {
            ++tagEnd;
        }
        if (tagEnd >= m_text.size() || m_text[tagEnd] != '$') {
            return false;
        }
        token.end = endOfDollarQuoted(m_pos, tagEnd);
    } else {
        return false;
    }
    return true;
}

SqlLexer::Token SqlLexer::next() {
    skipBlanksAndComments();
    Token token;
    token.begin = m_pos;
    token.end = m_pos;
    if (m_pos >= m_text.size()) {
        return token;
    }
    const char c = m_text[m_pos];
    std::size_t end = m_pos + 1;
    if (quoted(token)) {
        end = token.end;
    } else if (isWordStart(c)) {
        token.kind = Kind::Word;
        while (end < m_text.size() && isWordChar(m_text[end])) {
            ++end;
        }
    } else if (isDigit(c) || (c == '.' && end < m_text.size() && isDigit(m_text[end]))) {
        token.kind = Kind::Number;
        while (end < m_text.size() &&
               (isDigit(m_text[end]) || m_text[end] == '.' || isWordStart(m_text[end]))) {
            ++end;  // digits, a point, an exponent letter, a type-less suffix
        }
    } else if (c == '$' && end < m_text.size() && isDigit(m_text[end])) {
        token.kind = Kind::Param;
        while (end < m_text.size() && isDigit(m_text[end])) {
            ++end;
        }
    } else if (c == '{' && placeholderEnd(end) != std::string_view::npos) {
        token.kind = Kind::Placeholder;
        end = placeholderEnd(end) + 1;
    } else {
        token.kind = Kind::Symbol;
    }
    token.end = end;
    m_pos = end;
    return token;
}

bool holdsNoStatement(std::string_view sql, const SqlDialect& dialect) {
    SqlLexer lexer(sql, dialect);
    for (SqlLexer::Token token = lexer.next(); token.kind != SqlLexer::Kind::End;
         token = lexer.next()) {
        if (!token.isSymbol(sql, ';')) {
            return false;
        }
    }
    return true;
}

bool hasSecondStatement(std::string_view sql, const SqlDialect& dialect) {
    SqlLexer lexer(sql, dialect);
    bool afterSemicolon = false;
    for (SqlLexer::Token token = lexer.next(); token.kind != SqlLexer::Kind::End;
         token = lexer.next()) {
        if (token.isSymbol(sql, ';')) {
            afterSemicolon = true;
        } else if (afterSemicolon) {
            return true;
        }
    }
    return false;
}

}  // namespace vorn::dal

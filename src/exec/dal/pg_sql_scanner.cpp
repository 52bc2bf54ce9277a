#include "exec/dal/pg_sql_scanner.h"

namespace vorn::dal {
namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

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

char toLowerAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

bool PgSqlScanner::Token::is(std::string_view text, std::string_view keyword) const {
    if (kind != Kind::Word || end - begin != keyword.size()) {
        return false;
    }
    for (std::size_t i = 0; i < keyword.size(); ++i) {
        if (toLowerAscii(text[begin + i]) != keyword[i]) {
            return false;
        }
    }
    return true;
}

void PgSqlScanner::skipBlanksAndComments() {
    while (m_pos < m_text.size()) {
        const char c = m_text[m_pos];
        if (isBlank(c)) {
            ++m_pos;
        } else if (c == '-' && m_text.substr(m_pos, 2) == "--") {
            const std::size_t newline = m_text.find('\n', m_pos + 2);
            m_pos = newline == std::string_view::npos ? m_text.size() : newline + 1;
        } else if (c == '/' && m_text.substr(m_pos, 2) == "/*") {
            int depth = 1;
            m_pos += 2;
            while (m_pos < m_text.size() && depth > 0) {
                if (m_text.substr(m_pos, 2) == "/*") {
                    ++depth;
                    m_pos += 2;
                } else if (m_text.substr(m_pos, 2) == "*/") {
                    --depth;
                    m_pos += 2;
                } else {
                    ++m_pos;
                }
            }
        } else {
            return;
        }
    }
}

// pos is just after the opening quote.
std::size_t PgSqlScanner::endOfQuoted(std::size_t pos, char quote, bool backslashEscapes) const {
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
std::size_t PgSqlScanner::endOfDollarQuoted(std::size_t pos, std::size_t tagEnd) const {
    const std::string_view tag = m_text.substr(pos, tagEnd - pos + 1);
    const std::size_t close = m_text.find(tag, tagEnd + 1);
    return close == std::string_view::npos ? m_text.size() : close + tag.size();
}

PgSqlScanner::Token PgSqlScanner::next() {
    skipBlanksAndComments();
    Token token;
    token.begin = m_pos;
    if (m_pos >= m_text.size()) {
        token.end = m_pos;
        return token;
    }
    const char c = m_text[m_pos];
    std::size_t end = m_pos + 1;
    if ((c == 'e' || c == 'E') && end < m_text.size() && m_text[end] == '\'') {
        token.kind = Kind::Quoted;
        end = endOfQuoted(end + 1, '\'', true);
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
    } else if (c == '\'' || c == '"') {
        token.kind = Kind::Quoted;
        end = endOfQuoted(end, c, false);
    } else if (c == '$' && end < m_text.size() && isDigit(m_text[end])) {
        token.kind = Kind::Param;
        while (end < m_text.size() && isDigit(m_text[end])) {
            ++end;
        }
    } else if (c == '$') {
        std::size_t tagEnd = end;
        while (tagEnd < m_text.size() && isWordChar(m_text[tagEnd]) && m_text[tagEnd] != '$') {
            ++tagEnd;
        }
        if (tagEnd < m_text.size() && m_text[tagEnd] == '$') {
            token.kind = Kind::Quoted;
            end = endOfDollarQuoted(m_pos, tagEnd);
        } else {
            token.kind = Kind::Symbol;
        }
    } else {
        token.kind = Kind::Symbol;
    }
    token.end = end;
    m_pos = end;
    return token;
}

}  // namespace vorn::dal

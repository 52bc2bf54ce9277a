#include <cstddef>

#include "vorn/platform/logger.h"

namespace vorn::platform {

namespace {

constexpr const char* kMask = "***";

// Keys whose values are masked. Matched case-insensitively anywhere in the
// text, so "db_password=" and "PGPASSWORD=" are caught too.
constexpr const char* kSecretKeys[] = {"password", "passwd", "pwd"};

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

char lowerAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool startsWithNoCase(const std::string& text, std::size_t pos, const char* word) {
    for (std::size_t i = 0; word[i] != '\0'; ++i) {
        if (pos + i >= text.size() || lowerAscii(text[pos + i]) != word[i]) {
            return false;
        }
    }
    return true;
}

std::size_t skipSpaces(const std::string& text, std::size_t pos) {
    while (pos < text.size() && (text[pos] == ' ' || text[pos] == '\t')) {
        ++pos;
    }
    return pos;
}

// End of a value starting at pos: a quoted value runs to its closing quote
// (a backslash or a doubled quote does not close it; an unclosed quote runs to
// the end), a bare value to whitespace, ';', '&' or the end.
std::size_t valueEnd(const std::string& text, std::size_t pos) {
    if (pos < text.size() && (text[pos] == '\'' || text[pos] == '"')) {
        const char quote = text[pos];
        std::size_t i = pos + 1;
        while (i < text.size()) {
            const bool escaped = text[i] == '\\' ||
                                 (text[i] == quote && i + 1 < text.size() && text[i + 1] == quote);
            if (escaped && i + 1 < text.size()) {
                i += 2;  // the escaped or doubled quote is part of the value
            } else if (text[i] == quote) {
                return i + 1;
            } else {
                ++i;
            }
        }
        return text.size();
    }
    std::size_t i = pos;
    while (i < text.size() && !isSpace(text[i]) && text[i] != ';' && text[i] != '&') {
        ++i;
    }
    return i;
}

// At pos a secret key followed by '=' (blanks allowed around it) starts: copies
// key and '=' to out, masks a non-empty value and returns the position after
// it. Returns pos unchanged when no such pair starts there.
std::size_t maskPair(const std::string& text, std::size_t pos, std::string& out) {
    for (const char* key : kSecretKeys) {
        if (!startsWithNoCase(text, pos, key)) {
            continue;
        }
        std::size_t equals = skipSpaces(text, pos + std::char_traits<char>::length(key));
        if (equals >= text.size() || text[equals] != '=') {
            return pos;
        }
        const std::size_t value = skipSpaces(text, equals + 1);
        const std::size_t end = valueEnd(text, value);
        if (end == value) {
            return pos;
        }
        out.append(text, pos, value - pos);
        out.append(kMask);
        return end;
    }
    return pos;
}

// At pos "://" starts: copies it and the URL's user name to out, masks a
// non-empty password of the userinfo and returns the position of the '@'
// that ends it. Returns pos unchanged when the authority has no password.
std::size_t maskUrlPassword(const std::string& text, std::size_t pos, std::string& out) {
    const std::size_t start = pos + 3;
    std::size_t end = start;
    while (end < text.size() && !isSpace(text[end]) && text[end] != '/' && text[end] != '?' &&
           text[end] != '#') {
        ++end;
    }
    // The last '@' ends the userinfo, so an unencoded '@' in a password is
    // masked as well.
    const std::size_t at = text.rfind('@', end == 0 ? 0 : end - 1);
    if (at == std::string::npos || at < start) {
        return pos;
    }
    const std::size_t colon = text.find(':', start);
    if (colon == std::string::npos || colon + 1 >= at) {
        return pos;
    }
    out.append(text, pos, colon + 1 - pos);
    out.append(kMask);
    return at;
}

std::string maskSecrets(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t next = text.compare(pos, 3, "://") == 0 ? maskUrlPassword(text, pos, out)
                                                                  : maskPair(text, pos, out);
        if (next == pos) {
            out.push_back(text[pos]);
            ++pos;
        } else {
            pos = next;
        }
    }
    return out;
}

void appendEscaped(std::string& out, unsigned char byte) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    out.append("\\x");
    out.push_back(kHex[byte >> 4U]);
    out.push_back(kHex[byte & 0x0FU]);
}

// C0 controls, DEL and the UTF-8 form of the C1 controls (0xC2 0x80..0x9F)
// become \xHH per byte; every other byte is kept.
std::string escapeControls(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x20U || byte == 0x7FU) {
            appendEscaped(out, byte);
        } else if (byte == 0xC2U && i + 1 < text.size() &&
                   static_cast<unsigned char>(text[i + 1]) >= 0x80U &&
                   static_cast<unsigned char>(text[i + 1]) <= 0x9FU) {
            appendEscaped(out, byte);
            appendEscaped(out, static_cast<unsigned char>(text[i + 1]));
            ++i;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

}  // namespace

// Secrets are masked on the raw text first, so whitespace and line breaks
// still end a value; the escaping then makes the result one safe line.
std::string LogScrubber::scrub(const std::string& text) {
    return escapeControls(maskSecrets(text));
}

}  // namespace vorn::platform

#include "exec/platform/secret_mask.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "exec/platform/ascii.h"

namespace vorn::platform {
namespace {

constexpr std::string_view kMask = "***";

// The secret keys. Longer keys first, so "sslpassword" is not read as "ssl"
// followed by "password" (which masks the same value anyway).
constexpr std::string_view kSecretKeys[] = {"sslpassword", "password", "passwd", "pwd"};

struct Span {
    std::size_t begin = 0;
    std::size_t end = 0;  // begin == end: no secret here
};

std::size_t skipSpaces(std::string_view text, std::size_t pos) {
    while (pos < text.size() && (text[pos] == ' ' || text[pos] == '\t')) {
        ++pos;
    }
    return pos;
}

// End of a value starting at pos: a quoted value runs to its closing quote
// (a backslash or a doubled quote does not close it; an unclosed quote runs to
// the end), a bare value to whitespace, ';', '&' or the end.
std::size_t valueEnd(std::string_view text, std::size_t pos) {
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
    while (i < text.size() && !isBlank(text[i]) && text[i] != ';' && text[i] != '&') {
        ++i;
    }
    return i;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = lowerAscii(c);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// The character at pos, read as libpq reads a URL's query keys: "%70" is 'p'.
// width tells how many bytes it took.
char decodedAt(std::string_view text, std::size_t pos, std::size_t& width) {
    if (text[pos] == '%' && pos + 2 < text.size() && hexValue(text[pos + 1]) >= 0 &&
        hexValue(text[pos + 2]) >= 0) {
        width = 3;
        return static_cast<char>(hexValue(text[pos + 1]) * 16 + hexValue(text[pos + 2]));
    }
    width = 1;
    return text[pos];
}

// The end of key written at pos (in any case, any letter possibly
// percent-encoded), or npos when it is not there.
std::size_t keyEnd(std::string_view text, std::size_t pos, std::string_view key) {
    for (const char expected : key) {
        if (pos >= text.size()) {
            return std::string_view::npos;
        }
        std::size_t width = 0;
        if (lowerAscii(decodedAt(text, pos, width)) != expected) {
            return std::string_view::npos;
        }
        pos += width;
    }
    return pos;
}

// The value of a secret key followed by '=' (blanks allowed around it) that
// starts at pos.
Span pairValue(std::string_view text, std::size_t pos) {
    for (const std::string_view key : kSecretKeys) {
        const std::size_t end = keyEnd(text, pos, key);
        if (end == std::string_view::npos) {
            continue;
        }
        const std::size_t equals = skipSpaces(text, end);
        if (equals >= text.size() || text[equals] != '=') {
            return {};
        }
        const std::size_t value = skipSpaces(text, equals + 1);
        return {value, valueEnd(text, value)};
    }
    return {};
}

// The password of the user information that starts at pos, after a scheme:
// the text up to the last '@' before the first '/' or line break (as libpq
// reads a URL, the user information runs to an '@' before the first '/', so a
// password may hold unencoded '?', '#' and blanks; taking the last '@' masks
// an unencoded '@' of a password, and the rest, as well), from the first ':'
// on. Without the "//" of a URL (bare) the user name must be there and hold
// no blank, which keeps "note: a:b@c" and "std::x@y" as they are.
Span userInfoPassword(std::string_view text, std::size_t start, bool bare) {
    std::size_t end = start;
    while (end < text.size() && text[end] != '/' && text[end] != '\n' && text[end] != '\r') {
        ++end;
    }
    const std::size_t at = text.substr(start, end - start).rfind('@');
    if (at == std::string_view::npos) {
        return {};
    }
    const std::size_t colon = text.substr(start, at).find(':');
    if (colon == std::string_view::npos) {
        return {};
    }
    if (bare &&
        (colon == 0 || text.substr(start, colon).find_first_of(" \t") != std::string_view::npos)) {
        return {};
    }
    return {start + colon + 1, start + at};
}

bool isSchemeChar(char c) {
    const char lower = lowerAscii(c);
    return (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '-' ||
           c == '.';
}

// The password after the ':' at pos that ends a scheme: "scheme://user:pw@"
// as a URL writes it, and "scheme:user:pw@" as it is sometimes mistyped (and
// then quoted back whole by libpq's error message).
Span urlPassword(std::string_view text, std::size_t pos) {
    if (text.compare(pos, 3, "://") == 0) {
        return userInfoPassword(text, pos + 3, false);
    }
    // A scheme starts with a letter; other text glued before it does not
    // matter ("x9postgresql:").
    bool afterScheme = false;
    for (std::size_t i = pos; i > 0 && isSchemeChar(text[i - 1]) && !afterScheme; --i) {
        afterScheme = lowerAscii(text[i - 1]) >= 'a' && lowerAscii(text[i - 1]) <= 'z';
    }
    return afterScheme ? userInfoPassword(text, pos + 1, true) : Span{};
}

// Calls found(span) for each secret of text, in the order of their starts.
// Spans may overlap: a URL password is looked for after every scheme's ':'
// and a key=value pair at every position, also inside the value of another
// key ("pwd=db_password=x" masks from the first value on, whichever ends
// last).
template <typename Found>
void forEachSecret(std::string_view text, Found&& found) {
    std::vector<Span> spans;
    const auto add = [&spans](const Span& span) {
        if (span.end > span.begin) {
            spans.push_back(span);
        }
    };
    for (std::size_t pos = 0; pos < text.size(); ++pos) {
        if (text[pos] == ':') {
            add(urlPassword(text, pos));
        }
        add(pairValue(text, pos));
    }
    std::sort(spans.begin(), spans.end(),
              [](const Span& a, const Span& b) { return a.begin < b.begin; });
    for (const Span& span : spans) {
        found(span);
    }
}

std::string percentDecoded(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    std::size_t width = 0;
    for (std::size_t i = 0; i < text.size(); i += width) {
        out.push_back(decodedAt(text, i, width));
    }
    return out;
}

// raw as written, percent-decoded and each of them on one line, where long
// enough.
void addForms(std::vector<std::string>& values, std::string_view raw) {
    for (std::string form : {std::string(raw), percentDecoded(raw)}) {
        std::string line = oneLine(form);
        for (std::string* value : {&form, &line}) {
            if (value->size() >= SecretMask::kShortestKnownValue) {
                values.push_back(std::move(*value));
            }
        }
    }
}

bool isSecretKey(std::string_view key) {
    return std::any_of(
        std::begin(kSecretKeys), std::end(kSecretKeys),
        [key](std::string_view secret) { return keyEnd(key, 0, secret) == key.size(); });
}

// text with every known value masked, the longest first: a shorter one may
// be a part of a longer one (the value of "password=pass word" read up to the
// blank, and up to the '&').
std::string maskKnown(std::string_view text, const std::vector<std::string>& known) {
    std::vector<const std::string*> longestFirst;
    for (const std::string& value : known) {
        if (!value.empty()) {
            longestFirst.push_back(&value);
        }
    }
    std::stable_sort(
        longestFirst.begin(), longestFirst.end(),
        [](const std::string* a, const std::string* b) { return a->size() > b->size(); });
    std::string out(text);
    for (const std::string* entry : longestFirst) {
        const std::string& value = *entry;
        for (std::size_t pos = out.find(value); pos != std::string::npos;
             pos = out.find(value, pos + kMask.size())) {
            out.replace(pos, value.size(), kMask);
        }
    }
    return out;
}

}  // namespace

std::string SecretMask::mask(std::string_view text, const std::vector<std::string>& known) {
    const std::string unmasked = maskKnown(text, known);
    std::string out;
    out.reserve(unmasked.size());
    std::size_t copied = 0;
    forEachSecret(unmasked, [&](const Span& span) {
        if (span.begin >= copied) {
            out.append(unmasked, copied, span.begin - copied);
            out.append(kMask);
        }
        copied = std::max(copied, span.end);  // an overlapping span extends the last mask
    });
    out.append(unmasked, copied);
    return out;
}

std::vector<std::string> SecretMask::valuesIn(std::string_view text) {
    std::vector<std::string> values;
    forEachSecret(text, [&](const Span& span) {
        std::string_view raw = text.substr(span.begin, span.end - span.begin);
        if (raw.size() >= 2 && (raw.front() == '\'' || raw.front() == '"') &&
            raw.back() == raw.front()) {
            raw = raw.substr(1, raw.size() - 2);  // the value inside its quotes
        }
        for (std::string form : {std::string(raw), percentDecoded(raw)}) {
            if (form.size() >= kShortestKnownValue) {
                values.push_back(std::move(form));
            }
        }
    });
    return values;
}

std::vector<std::string> SecretMask::urlValues(std::string_view url) {
    std::vector<std::string> values = valuesIn(url);
    std::size_t start = url.find(':');
    if (start == std::string_view::npos) {
        return values;
    }
    start += url.compare(start, 3, "://") == 0 ? 3 : 1;
    std::size_t query = start;
    const std::size_t at = url.find_first_of("@/", start);
    if (at != std::string_view::npos && url[at] == '@') {
        const std::string_view userInfo = url.substr(start, at - start);
        if (const std::size_t colon = userInfo.find(':'); colon != std::string_view::npos) {
            addForms(values, userInfo.substr(colon + 1));
        }
        query = at + 1;
    }
    query = url.find('?', query);
    while (query != std::string_view::npos) {
        const std::size_t end = url.find('&', query + 1);
        const std::string_view pair =
            url.substr(query + 1, end == std::string_view::npos ? end : end - query - 1);
        if (const std::size_t equals = pair.find('=');
            equals != std::string_view::npos && isSecretKey(pair.substr(0, equals))) {
            addForms(values, pair.substr(equals + 1));
        }
        query = end;
    }
    return values;
}

}  // namespace vorn::platform

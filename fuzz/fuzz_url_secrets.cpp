// PostgreSQL data sources of arbitrary URLs: the input's first byte picks the
// scheme, the rest is the URL after it, verbatim ("://user:pw@host/db?...",
// or malformed in any way). Each URL is bound to "default" and one call is
// made on it; the URL ends with host= of a Unix socket directory that does
// not exist, so the call fails at once without a network (it is skipped
// when the URL would still reach another host). Invariant: no secret of the
// URL shows in the text of any log record, in describeDataSource, or in
// lastError() after the call (the bind refusal or the failed connect).
//
// The secrets are read here as libpq reads them: the password of the user
// information (up to the first '@' before the first '/', after "scheme://",
// or after "scheme:" of a URL without its "//"), and the values of password=
// and sslpassword= in the query (keys percent-decoded), each as written and
// percent-decoded, compared on one line and with \xHH escapes read back.
// Left out, to avoid false alarms: secrets shorter than 4 bytes, secrets that
// also stand elsewhere in the URL, and secrets made of percent escapes and
// punctuation only. A secret counts as shown only when the texts hold it
// more often than the texts of the same URL with the secret's letters and
// digits turned (ROT13, digits by 5), so that words of the library's and
// libpq's messages are not taken for it.
#include <libpq-fe.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "exec/dal/postgresql/settings.h"
#include "fuzz_check.h"
#include "vorn/vorn.h"

namespace {

constexpr std::string_view kNoServerDir = "/nonexistent/vorn-fuzz";
constexpr std::size_t kShortestChecked = 4;

std::mutex g_logMutex;
std::vector<std::string> g_logTexts;

struct Span {
    std::size_t begin;
    std::size_t end;
};

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) {
        return (c | 0x20) - 'a' + 10;
    }
    return -1;
}

std::string percentDecoded(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && hexValue(text[i + 1]) >= 0 &&
            hexValue(text[i + 2]) >= 0) {
            out.push_back(static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2])));
            i += 2;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

// text with \xHH escapes read back and every run of blanks one blank: the
// forms in which log lines and one-line error texts carry what they quote.
std::string normalized(std::string_view text) {
    std::string raw;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size() && text[i + 1] == 'x' &&
            hexValue(text[i + 2]) >= 0 && hexValue(text[i + 3]) >= 0) {
            raw.push_back(static_cast<char>(hexValue(text[i + 2]) * 16 + hexValue(text[i + 3])));
            i += 3;
        } else {
            raw.push_back(text[i]);
        }
    }
    std::string out;
    for (const char c : raw) {
        if (!isBlank(c)) {
            out.push_back(c);
        } else if (out.empty() || out.back() != ' ') {
            out.push_back(' ');
        }
    }
    return out;
}

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? std::string()
                                      : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The secrets of url as libpq reads them, as spans of url.
std::vector<Span> secretSpans(std::string_view url) {
    std::vector<Span> spans;
    std::size_t start = url.find(':');
    if (start == std::string_view::npos) {
        return spans;
    }
    start += url.compare(start, 3, "://") == 0 ? 3 : 1;
    std::size_t query = start;
    const std::size_t at = url.find_first_of("@/", start);
    if (at != std::string_view::npos && url[at] == '@') {
        const std::size_t colon = url.find(':', start);
        if (colon < at) {
            spans.push_back({colon + 1, at});
        }
        query = at + 1;
    }
    for (query = url.find('?', query); query != std::string_view::npos;) {
        const std::size_t end = std::min(url.find('&', query + 1), url.size());
        const std::size_t equals = url.find('=', query + 1);
        if (equals < end) {
            const std::string key = percentDecoded(url.substr(query + 1, equals - query - 1));
            if (key == "password" || key == "sslpassword") {
                spans.push_back({equals + 1, end});
            }
        }
        query = end < url.size() ? end : std::string_view::npos;
    }
    return spans;
}

// url with the letters and digits of its secrets turned, percent escapes
// kept: the same URL to libpq, with other secrets.
std::string turned(std::string url, const std::vector<Span>& spans) {
    for (const Span& span : spans) {
        for (std::size_t i = span.begin; i < span.end; ++i) {
            char& c = url[i];
            if (c == '%') {
                i += 2;
            } else if (c >= 'a' && c <= 'z') {
                c = static_cast<char>('a' + (c - 'a' + 13) % 26);
            } else if (c >= 'A' && c <= 'Z') {
                c = static_cast<char>('A' + (c - 'A' + 13) % 26);
            } else if (c >= '0' && c <= '9') {
                c = static_cast<char>('0' + (c - '0' + 5) % 10);
            }
        }
    }
    return url;
}

// True when connecting with url cannot leave the machine: it reaches the
// socket directory that does not exist, or nothing at all.
bool reachesNoServer(const std::string& url) {
    vorn::dal::PgSettings settings;
    std::string problem;
    if (!vorn::dal::PgSettings::parse(url, settings, problem)) {
        return true;
    }
    PQconninfoOption* options = PQconninfoParse(settings.conninfo.c_str(), nullptr);
    if (options == nullptr || settings.severalServers) {
        PQconninfoFree(options);
        return false;
    }
    bool safe = true;
    for (const PQconninfoOption* option = options; option->keyword != nullptr; ++option) {
        const std::string_view keyword = option->keyword;
        const std::string_view value = option->val != nullptr ? option->val : "";
        if (keyword == "host") {
            safe = safe && value == kNoServerDir;
        } else if (keyword == "hostaddr" || keyword == "service") {
            safe = safe && value.empty();
        }
    }
    PQconninfoFree(options);
    return safe;
}

// Every text the library shows about url: its log records, its description,
// and the last error of one call on it.
std::vector<std::string> textsOf(const std::string& url) {
    {
        const std::lock_guard<std::mutex> lock(g_logMutex);
        g_logTexts.clear();
    }
    vorn::bindDataSource("default", url);
    std::vector<std::string> texts{vorn::describeDataSource("default")};
    if (reachesNoServer(url)) {
        CVORN* db = nullptr;
        GuardDB guard("FuzzDB", db, false);
        CVORNsqlstr statement;
        statement.assign("select 1");
        CVORNReader reader;
        VORN_FUZZ_CHECK_TEXT(db->execReadSQL(statement, reader) != 0, url);
        texts.push_back(vorn::lastError().message);
    }
    vorn::unbindDataSource("default");
    const std::lock_guard<std::mutex> lock(g_logMutex);
    for (std::string& text : g_logTexts) {
        texts.push_back(std::move(text));
    }
    return texts;
}

std::size_t countIn(const std::vector<std::string>& texts, const std::string& value) {
    std::size_t count = 0;
    for (const std::string& text : texts) {
        for (std::size_t pos = text.find(value); pos != std::string::npos;
             pos = text.find(value, pos + 1)) {
            ++count;
        }
    }
    return count;
}

void setUp() {
    ::setenv("PGCONNECT_TIMEOUT", "2", 1);
    ::unsetenv("PGPASSWORD");
    vorn::platform::Logger::setLevel(vorn::platform::LogLevel::Trace);
    vorn::platform::Logger::setSink([](const vorn::platform::LogRecord& record) {
        const std::lock_guard<std::mutex> lock(g_logMutex);
        g_logTexts.push_back(record.text);
    });
}

// The forms of url's secrets worth checking: long enough, standing nowhere
// else in the URL, and changed in other (url with its secrets turned).
std::vector<std::string> checkedValues(const std::string& url, const std::vector<Span>& spans,
                                       const std::string& other) {
    std::string rest = url;  // the URL without its secrets
    for (const Span& span : spans) {
        rest.replace(span.begin, span.end - span.begin, span.end - span.begin, '\x01');
    }
    const std::string restForms = normalized(rest) + '\x01' + normalized(percentDecoded(rest));
    std::vector<std::string> values;
    for (const Span& span : spans) {
        const std::string_view raw =
            std::string_view(url).substr(span.begin, span.end - span.begin);
        const std::string_view turnedRaw =
            std::string_view(other).substr(span.begin, span.end - span.begin);
        const std::string turnedForms =
            normalized(turnedRaw) + '\x01' + normalized(percentDecoded(turnedRaw));
        for (const std::string& form : {std::string(raw), percentDecoded(raw)}) {
            std::string value = trimmed(normalized(form));
            if (value.size() >= kShortestChecked && restForms.find(value) == std::string::npos &&
                turnedForms.find(value) == std::string::npos) {
                values.push_back(std::move(value));
            }
        }
    }
    return values;
}

std::vector<std::string> normalizedTexts(const std::string& url) {
    std::vector<std::string> texts = textsOf(url);
    for (std::string& text : texts) {
        text = normalized(text);
    }
    return texts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool ready = [] {
        setUp();
        return true;
    }();
    (void)ready;
    if (size == 0) {
        return 0;
    }
    static const char* const kSchemes[] = {"postgresql", "postgres", "PostgreSQL", "POSTGRES"};
    std::string url = kSchemes[data[0] % 4];
    url.append(reinterpret_cast<const char*>(data) + 1, size - 1);
    url += url.find('?') == std::string::npos ? "?" : "&";
    url += "host=" + std::string(kNoServerDir) + "&hostaddr=&target_session_attrs=any";

    const std::vector<Span> spans = secretSpans(url);
    const std::string other = turned(url, spans);
    const std::vector<std::string> values = checkedValues(url, spans, other);
    const std::vector<std::string> texts = normalizedTexts(url);
    if (values.empty()) {
        return 0;  // crashes only
    }
    const std::vector<std::string> otherTexts = normalizedTexts(other);
    for (const std::string& value : values) {
        if (countIn(texts, value) > countIn(otherTexts, value)) {
            std::string report = url;
            report.append(" shows its secret ").append(value).append(" in:");
            for (const std::string& text : texts) {
                if (text.find(value) != std::string::npos) {
                    report.append(" [").append(text).append("]");
                }
            }
            vorn::fuzz::fail(__FILE__, __LINE__, "no secret shown", report);
        }
    }
    return 0;
}

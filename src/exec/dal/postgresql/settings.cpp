#include "exec/dal/postgresql/settings.h"

#include <libpq-fe.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "exec/dal/source_options.h"
#include "exec/dal/url_text.h"
#include "exec/platform/ascii.h"
#include "exec/platform/secret_mask.h"

namespace vorn::dal {
namespace {

using platform::equalsIgnoreCase;
using platform::startsWithIgnoreCase;
using platform::trimBlanks;

constexpr std::string_view kOwnPrefix = "vorn_";
constexpr int kMaxFetchRowsLimit = 1000000;

bool parseSwitch(std::string_view value, bool& out) {
    for (const char* yes : {"on", "true", "yes", "1"}) {
        if (equalsIgnoreCase(value, yes)) {
            out = true;
            return true;
        }
    }
    for (const char* no : {"off", "false", "no", "0"}) {
        if (equalsIgnoreCase(value, no)) {
            out = false;
            return true;
        }
    }
    return false;
}

bool applyOwnOption(std::string_view key, std::string_view value, PgSettings& out,
                    std::string& problem) {
    if (isSourceOption(key)) {
        return true;  // the core's (source_options.h)
    }
    if (equalsIgnoreCase(key, "vorn_statement_rollback")) {
        if (!parseSwitch(value, out.statementRollback)) {
            problem = "vorn_statement_rollback must be on or off";
            return false;
        }
        return true;
    }
    if (equalsIgnoreCase(key, "vorn_pool_mode")) {
        const bool session = equalsIgnoreCase(value, "session");
        if (!session && !equalsIgnoreCase(value, "transaction")) {
            problem = "vorn_pool_mode must be session or transaction";
            return false;
        }
        out.transactionPooling = !session;
        return true;
    }
    if (equalsIgnoreCase(key, "vorn_fetch_rows")) {
        int rows = 0;
        const auto [end, ec] = std::from_chars(value.data(), value.data() + value.size(), rows);
        if (ec != std::errc() || end != value.data() + value.size() || rows < 1 ||
            rows > kMaxFetchRowsLimit) {
            problem =
                "vorn_fetch_rows must be a number from 1 to " + std::to_string(kMaxFetchRowsLimit);
            return false;
        }
        out.maxFetchRows = rows;
        return true;
    }
    problem = "unknown option \"" + std::string(key) + "\"";
    return false;
}

// True when the environment sets a libpq parameter, which then wins over our
// default (libpq uses the environment only for parameters not given).
bool environmentSets(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

// A port list as libpq takes it: numbers separated by commas, one per host
// (an empty item means the default port).
bool validPorts(std::string_view ports) {
    std::size_t pos = 0;
    while (pos <= ports.size()) {
        std::size_t end = ports.find(',', pos);
        if (end == std::string_view::npos) {
            end = ports.size();
        }
        const std::string_view item = trimBlanks(ports.substr(pos, end - pos));
        if (!item.empty()) {
            int port = 0;
            const auto [last, ec] = std::from_chars(item.data(), item.data() + item.size(), port);
            if (ec != std::errc() || last != item.data() + item.size() || port < 1 ||
                port > 65535) {
                return false;
            }
        }
        pos = end + 1;
    }
    return true;
}

// A whole number of seconds from a connect_timeout value, or fallback.
int timeoutSeconds(const char* value, int fallback) {
    int seconds = 0;
    if (value == nullptr) {
        return fallback;
    }
    const char* end = value + std::strlen(value);
    const auto [last, ec] = std::from_chars(value, end, seconds);
    return ec == std::errc() && last == end && seconds > 0 ? seconds : fallback;
}

// Reads what the parsed URL tells beyond its text: whether its ports are
// valid, whether it names several servers, its connect timeout.
bool inspect(const PQconninfoOption* options, PgSettings& out) {
    bool portsValid = true;
    out.connectTimeoutSeconds = timeoutSeconds(std::getenv("PGCONNECT_TIMEOUT"), 10);
    for (const PQconninfoOption* option = options; option->keyword != nullptr; ++option) {
        if (option->val == nullptr) {
            continue;
        }
        const std::string_view keyword = option->keyword;
        if (keyword == "port") {
            portsValid = validPorts(option->val);
        } else if (keyword == "connect_timeout") {
            out.connectTimeoutSeconds = timeoutSeconds(option->val, out.connectTimeoutSeconds);
        } else if (keyword == "target_session_attrs") {
            out.severalServers = out.severalServers || !equalsIgnoreCase(option->val, "any");
        } else if (keyword == "host" || keyword == "hostaddr") {
            out.severalServers = out.severalServers || std::strchr(option->val, ',') != nullptr;
        }
    }
    return portsValid;
}

// Where the value libpq quotes in its text about a URL it cannot read begins
// and ends (a part of the URL: a component as written, a query key, or the
// whole URL): after the first ": \"" (after "missing \"=\" after \"" in its
// text about a URL without "//"), else after the first '"', up to the last
// '"'. {npos, npos} when the text quotes nothing.
std::pair<std::size_t, std::size_t> quotedValue(std::string_view reason) {
    constexpr std::string_view kMissingEquals = "missing \"=\" after \"";
    std::size_t begin = reason.find(": \"");
    if (begin != std::string_view::npos) {
        begin += 3;
    } else if (reason.compare(0, kMissingEquals.size(), kMissingEquals) == 0) {
        begin = kMissingEquals.size();
    } else if ((begin = reason.find('"')) != std::string_view::npos) {
        ++begin;
    } else {
        return {std::string_view::npos, std::string_view::npos};
    }
    const std::size_t last = reason.rfind('"');
    return {begin, last != std::string_view::npos && last >= begin ? last : reason.size()};
}

// libpq's text about a URL it cannot read, fit to show: the value it quotes,
// which may be a password or hold one as written (or hold a part of one where
// the URL is malformed around it), shows only masked, and only when that
// masked form stands in the masked URL (the text describeDataSource gives);
// otherwise it is left out.
std::string unreadableUrl(std::string_view reason, const std::string& conninfo,
                          const std::vector<std::string>& secrets) {
    using platform::SecretMask;
    std::string text(reason);
    const auto [begin, end] = quotedValue(reason);
    if (begin != std::string_view::npos) {
        std::string value = SecretMask::mask(reason.substr(begin, end - begin), secrets);
        if (SecretMask::mask(conninfo, secrets).find(value) == std::string::npos) {
            value = "(left out: it may hold a secret)";
        }
        text = std::string(reason.substr(0, begin)) + value + std::string(reason.substr(end));
    }
    return "invalid PostgreSQL URL: " + SecretMask::mask(text, secrets);
}

}  // namespace

bool PgSettings::parse(const std::string& url, PgSettings& out, std::string& problem) {
    out = PgSettings();
    const std::size_t queryStart = urlQueryStart(url);
    out.conninfo = url.substr(0, queryStart);
    // libpq knows the scheme in lower case only.
    const std::size_t schemeEnd = urlScheme(out.conninfo).size();
    for (std::size_t i = 0; i < schemeEnd; ++i) {
        out.conninfo[i] = platform::lowerAscii(out.conninfo[i]);
    }
    if (queryStart != std::string::npos) {
        const std::string_view query = std::string_view(url).substr(queryStart + 1);
        std::string kept;
        const bool valid = forEachQueryPair(query, [&](std::string_view pair, bool /*last*/) {
            const QueryPair option = QueryPair::split(pair);
            if (startsWithIgnoreCase(option.key, kOwnPrefix)) {
                return applyOwnOption(option.key, option.value, out, problem);
            }
            if (!pair.empty()) {
                kept.append(kept.empty() ? "?" : "&");
                kept.append(pair);
            }
            return true;
        });
        if (!valid) {
            return false;
        }
        out.conninfo.append(kept);
    }
    char* error = nullptr;
    PQconninfoOption* options = PQconninfoParse(out.conninfo.c_str(), &error);
    if (options == nullptr) {
        const std::string reason = error != nullptr ? error : "out of memory";
        PQfreemem(error);
        problem =
            unreadableUrl(trimBlanks(reason), out.conninfo, platform::SecretMask::urlValues(url));
        return false;
    }
    const bool portsValid = inspect(options, out);
    PQconninfoFree(options);
    if (!portsValid) {
        // libpq would only find this at connect time.
        problem = "invalid PostgreSQL URL: the port must be a number from 1 to 65535";
        return false;
    }
    return true;
}

void PgSettings::connectParameters(std::vector<const char*>& keywords,
                                   std::vector<const char*>& values) const {
    keywords.clear();
    values.clear();
    const auto add = [&](const char* keyword, const char* value) {
        keywords.push_back(keyword);
        values.push_back(value);
    };
    if (!environmentSets("PGCONNECT_TIMEOUT")) {
        add("connect_timeout", "10");
    }
    add("keepalives", "1");
    add("keepalives_idle", "30");
    add("keepalives_interval", "10");
    add("keepalives_count", "3");
    add("tcp_user_timeout", "60000");
    add("fallback_application_name", "vorn");
    add("dbname", conninfo.c_str());
    add(nullptr, nullptr);
}

}  // namespace vorn::dal

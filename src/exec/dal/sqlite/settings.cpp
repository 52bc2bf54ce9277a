#include "exec/dal/sqlite/settings.h"

#include <charconv>
#include <string_view>

#include "exec/dal/source_options.h"
#include "exec/dal/url_text.h"
#include "exec/platform/ascii.h"

namespace vorn::dal {
namespace {

using platform::equalsIgnoreCase;
using platform::lowerAscii;

constexpr std::string_view kPrefix = "sqlite:";

bool oneOf(std::string_view value, std::initializer_list<std::string_view> choices) {
    for (std::string_view choice : choices) {
        if (equalsIgnoreCase(value, choice)) {
            return true;
        }
    }
    return false;
}

std::string lower(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        c = lowerAscii(c);
    }
    return out;
}

bool applyOption(std::string_view key, std::string_view value, SqliteSettings& out,
                 std::string& problem) {
    if (key == "mode") {
        if (value == "ro") {
            out.mode = SqliteSettings::Mode::ReadOnly;
        } else if (value == "rw") {
            out.mode = SqliteSettings::Mode::ReadWrite;
        } else if (value == "rwc") {
            out.mode = SqliteSettings::Mode::ReadWriteCreate;
        } else {
            problem = "mode must be ro, rw or rwc";
            return false;
        }
        return true;
    }
    if (key == "busy_timeout") {
        int ms = -1;
        const auto [end, ec] = std::from_chars(value.data(), value.data() + value.size(), ms);
        if (ec != std::errc() || end != value.data() + value.size() || ms < 0) {
            problem = "busy_timeout must be a number of milliseconds";
            return false;
        }
        out.busyTimeoutMs = ms;
        return true;
    }
    if (key == "journal_mode") {
        if (!oneOf(value, {"wal", "delete", "truncate", "persist", "memory", "off"})) {
            problem = "journal_mode must be wal, delete, truncate, persist, memory or off";
            return false;
        }
        out.journalMode = lower(value);
        return true;
    }
    if (key == "synchronous") {
        if (!oneOf(value, {"off", "normal", "full", "extra"})) {
            problem = "synchronous must be off, normal, full or extra";
            return false;
        }
        out.synchronous = lower(value);
        return true;
    }
    problem = "unknown option \"" + std::string(key) + "\"";
    return false;
}

}  // namespace

bool SqliteSettings::parse(const std::string& url, SqliteSettings& out, std::string& problem) {
    out = SqliteSettings{};
    const std::string_view text(url);
    if (text.size() < kPrefix.size() ||
        !equalsIgnoreCase(text.substr(0, kPrefix.size()), kPrefix)) {
        problem = "not an sqlite: URL";
        return false;
    }
    const std::string_view rest = text.substr(kPrefix.size());
    const std::size_t query = rest.find('?');
    const std::string_view path = rest.substr(0, query);
    if (path.empty()) {
        problem = "sqlite: needs a file path (sqlite:/var/lib/app/store.db)";
        return false;
    }
    if (path.size() >= 3 && path.substr(0, 2) == "//" && path[2] != '/') {
        problem = "sqlite: takes a path, not a host (write sqlite:/abs/path.db or sqlite:rel.db)";
        return false;
    }
    if (path.find('\0') != std::string_view::npos) {
        problem = "sqlite: path holds a NUL byte";
        return false;
    }
    out.path.assign(path);
    if (query == std::string_view::npos) {
        return true;
    }
    return forEachBackendOption(rest.substr(query + 1), problem,
                                [&](std::string_view key, std::string_view value) {
                                    return applyOption(key, value, out, problem);
                                });
}

}  // namespace vorn::dal

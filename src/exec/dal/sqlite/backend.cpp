#include "exec/dal/backend.h"

#include "exec/dal/sqlite/connection.h"
#include "exec/dal/sqlite/errors.h"
#include "exec/dal/sqlite/settings.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

bool checkUrl(const std::string& url, std::string& problem) {
    SqliteSettings settings;
    return SqliteSettings::parse(url, settings, problem);
}

std::unique_ptr<Connection> connect(const std::string& url, platform::ExecResult& status) {
    SqliteSettings settings;
    std::string problem;
    if (!SqliteSettings::parse(url, settings, problem)) {
        status = platform::ExecResult::failure(platform::errc::kDataSourceInvalid, problem);
        return nullptr;
    }
    return SqliteConnection::open(settings, status);
}

}  // namespace

const Backend& sqliteBackend() {
    static const Backend backend{{"sqlite"},      "SQLite",         &checkUrl, &connect,
                                 &sqliteClassify, &sqliteErrorRows, true};
    return backend;
}

}  // namespace vorn::dal

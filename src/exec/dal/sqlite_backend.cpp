#include "exec/dal/sqlite_backend.h"

#include "exec/dal/sqlite_connection.h"
#include "exec/dal/sqlite_settings.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {

bool checkSqliteUrl(const std::string& url, std::string& problem) {
    SqliteSettings settings;
    return SqliteSettings::parse(url, settings, problem);
}

std::unique_ptr<Connection> connectSqlite(const std::string& url, platform::ExecResult& status) {
    SqliteSettings settings;
    std::string problem;
    if (!SqliteSettings::parse(url, settings, problem)) {
        status = platform::ExecResult::failure(platform::errc::kDataSourceInvalid, problem);
        return nullptr;
    }
    return SqliteConnection::open(settings, status);
}

}  // namespace vorn::dal

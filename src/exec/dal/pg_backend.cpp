#include "exec/dal/pg_backend.h"

#include "exec/dal/pg_connection.h"
#include "exec/dal/pg_settings.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {

bool checkPgUrl(const std::string& url, std::string& problem) {
    PgSettings settings;
    return PgSettings::parse(url, settings, problem);
}

std::unique_ptr<Connection> connectPg(const std::string& url, platform::ExecResult& status) {
    PgSettings settings;
    std::string problem;
    if (!PgSettings::parse(url, settings, problem)) {
        status = platform::ExecResult::failure(platform::errc::kDataSourceInvalid, problem);
        return nullptr;
    }
    return PgConnection::open(settings, url, status);
}

}  // namespace vorn::dal

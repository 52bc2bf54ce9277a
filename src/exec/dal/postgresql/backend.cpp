#include "exec/dal/backend.h"

#include "exec/dal/postgresql/connection.h"
#include "exec/dal/postgresql/errors.h"
#include "exec/dal/postgresql/settings.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

bool checkUrl(const std::string& url, std::string& problem) {
    PgSettings settings;
    return PgSettings::parse(url, settings, problem);
}

std::unique_ptr<Connection> connect(const std::string& url, platform::ExecResult& status) {
    PgSettings settings;
    std::string problem;
    if (!PgSettings::parse(url, settings, problem)) {
        status = platform::ExecResult::failure(platform::errc::kDataSourceInvalid, problem);
        return nullptr;
    }
    return PgConnection::open(settings, url, status);
}

}  // namespace

const Backend& postgresqlBackend() {
    static const Backend backend{
        {"postgresql", "postgres"}, "PostgreSQL", &checkUrl, &connect, &pgClassify, &pgErrorRows};
    return backend;
}

}  // namespace vorn::dal

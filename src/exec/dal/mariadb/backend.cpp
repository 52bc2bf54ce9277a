#include "exec/dal/backend.h"

#include "exec/dal/mariadb/connection.h"
#include "exec/dal/mariadb/errors.h"
#include "exec/dal/mariadb/settings.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

bool checkUrl(const std::string& url, std::string& problem) {
    MariadbSettings settings;
    return MariadbSettings::parse(url, settings, problem);
}

std::unique_ptr<Connection> connect(const std::string& url, platform::ExecResult& status) {
    MariadbSettings settings;
    std::string problem;
    if (!MariadbSettings::parse(url, settings, problem)) {
        status = platform::ExecResult::failure(platform::errc::kDataSourceInvalid, problem);
        return nullptr;
    }
    return MariadbConnection::open(settings, url, status);
}

}  // namespace

const Backend& mariadbBackend() {
    static const Backend backend{{"mariadb", "mysql"}, "MariaDB",        &checkUrl, &connect,
                                 &mariadbClassify,     &mariadbErrorRows};
    return backend;
}

}  // namespace vorn::dal

#include "exec/dal/pg_connection.h"

#include "exec/dal/pg_secret_mask.h"

namespace vorn::dal {

std::unique_ptr<PgConnection> PgConnection::open(const PgSettings& settings, const std::string& url,
                                                 platform::ExecResult& status) {
    std::shared_ptr<PgLink> link = PgLink::open(settings, pgSecretsOf(url), status);
    if (!link) {
        return nullptr;
    }
    return std::unique_ptr<PgConnection>(new PgConnection(std::move(link)));
}

}  // namespace vorn::dal

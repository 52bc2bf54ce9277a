#include "exec/dal/backend_table.h"

#include "exec/dal/sqlite_backend.h"
#include "exec/dal/url_text.h"
#ifdef VORN_WITH_POSTGRESQL
#include "exec/dal/pg_backend.h"
#endif

namespace vorn::dal {
namespace {

// One entry per URL scheme. A further backend adds its entries here, e.g.
// {"postgresql", &checkPgUrl, &connectPg} and {"postgres", ...} when the
// build has VORN_WITH_POSTGRESQL.
const Backend kBackends[] = {
    {"sqlite", &checkSqliteUrl, &connectSqlite},
#ifdef VORN_WITH_POSTGRESQL
    {"postgresql", &checkPgUrl, &connectPg},
    {"postgres", &checkPgUrl, &connectPg},
#endif
};

}  // namespace

const Backend* findBackend(std::string_view scheme) {
    for (const Backend& backend : kBackends) {
        if (equalsIgnoreCase(scheme, backend.scheme)) {
            return &backend;
        }
    }
    return nullptr;
}

std::string knownSchemes() {
    std::string out;
    for (const Backend& backend : kBackends) {
        if (!out.empty()) {
            out.append(", ");
        }
        out.append(backend.scheme);
    }
    return out;
}

}  // namespace vorn::dal

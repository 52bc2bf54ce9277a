#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "exec/dal/data_source.h"

namespace vorn::dal {

// The process-wide bindings of session names to data sources: run-time
// bindings first, then $VORN_DATASOURCES (read at first use), then the
// embedded default file "<dir>/<name>.db".
class DataSourceRegistry {
  public:
    // What name resolves to now; never null (an invalid source carries its problem).
    static std::shared_ptr<const DataSource> resolve(const std::string& name);

    // Changes with every bind, unbind and reload, so that threads can tell
    // cheaply whether their cached connections may be stale.
    static std::uint64_t generation() noexcept;

    // The error code is 0 or errc::kDataSourceInvalid; problems are logged.
    static std::uint64_t bind(const std::string& name, const std::string& url);
    static std::uint64_t bindList(const std::string& list);
    static void unbind(const std::string& name);
    static std::uint64_t reloadEnvironment();

    // $VORN_DATA_DIR as it is now, "" when unset.
    static const char* dataDirSetting() noexcept;
};

}  // namespace vorn::dal

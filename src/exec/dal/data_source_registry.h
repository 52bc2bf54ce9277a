#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "exec/dal/data_source.h"

namespace vorn::dal {

// The process-wide bindings of session names to data sources: run-time
// bindings first, then $VORN_DATASOURCES (read at first use), then the
// embedded default file "<dir>/<name>.db". Binding, unbinding and reloading
// are the calls of <vorn/datasource.h>, defined beside these
// (data_source_registry.cpp); their problems are logged.

// What name resolves to now; never null (an invalid source carries its problem).
std::shared_ptr<const DataSource> resolveDataSource(const std::string& name);

// Changes with every bind, unbind and reload, so that threads can tell
// cheaply whether their cached connections may be stale.
std::uint64_t dataSourceGeneration() noexcept;

// $VORN_DATA_DIR as it is now, "" when unset.
const char* dataDirSetting() noexcept;

}  // namespace vorn::dal

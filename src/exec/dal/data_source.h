#pragma once

#include <string>

#include "exec/dal/backend.h"
#include "exec/dal/source_options.h"

namespace vorn::dal {

// What a session name resolves to.
struct DataSource {
    std::string url;                   // as bound, secrets included: used to connect only
    std::string display;               // the URL with secrets masked
    const Backend* backend = nullptr;  // null when the binding is invalid
    std::string problem;               // why it is invalid; free of secrets
    SourceOptions options;             // the parameters every backend shares

    // The name is unbound and uses the embedded default file; dataDirSetting
    // is $VORN_DATA_DIR ("" when unset) at the time it was resolved.
    bool embeddedDefault = false;
    std::string dataDirSetting;

    bool valid() const noexcept { return backend != nullptr; }
};

// The backend of url after checking it; null with a problem text (free of
// secrets) when the URL is malformed or its scheme unknown.
const Backend* checkDataSourceUrl(const std::string& url, std::string& problem);

// A valid data source for url, or an invalid one carrying the problem.
DataSource makeDataSource(const std::string& url);

}  // namespace vorn::dal

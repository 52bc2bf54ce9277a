#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "exec/dal/connection.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

// A data-access backend, chosen by the scheme of a data-source URL.
struct Backend {
    const char* scheme;  // matched without regard to case
    // Checks a URL of this scheme; false with a problem text (free of
    // secrets) when it is malformed.
    bool (*check)(const std::string& url, std::string& problem);
    // Opens a connection; null with status set when that fails.
    std::unique_ptr<Connection> (*connect)(const std::string& url, platform::ExecResult& status);
};

// The backend for scheme, or null when no backend handles it.
const Backend* findBackend(std::string_view scheme);

// The schemes handled, for error texts: "sqlite, ...".
std::string knownSchemes();

}  // namespace vorn::dal

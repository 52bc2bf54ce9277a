#include "exec/dal/backend.h"
#include "exec/platform/ascii.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {

const Backend* findBackend(std::string_view scheme) {
    for (const Backend* backend : compiledBackends()) {
        for (const std::string_view known : backend->schemes) {
            if (platform::equalsIgnoreCase(scheme, known)) {
                return backend;
            }
        }
    }
    return nullptr;
}

platform::ExecResult secondStatementRefused() {
    return platform::ExecResult::failure(platform::errc::kMultipleStatements,
                                         "only one statement may be executed at a time");
}

std::string knownSchemes() {
    std::string out;
    for (const Backend* backend : compiledBackends()) {
        for (const std::string_view known : backend->schemes) {
            if (!out.empty()) {
                out.append(", ");
            }
            out.append(known);
        }
    }
    return out;
}

}  // namespace vorn::dal

#include "exec/dal/error_class.h"

#include "exec/dal/backend.h"
#include "exec/dal/data_source_registry.h"
#include "vorn/platform/error_codes.h"

namespace vorn {

const char* toString(ErrorCategory category) noexcept {
    switch (category) {
        case ErrorCategory::None:
            return "None";
        case ErrorCategory::Refused:
            return "Refused";
        case ErrorCategory::Syntax:
            return "Syntax";
        case ErrorCategory::Constraint:
            return "Constraint";
        case ErrorCategory::Busy:
            return "Busy";
        case ErrorCategory::ConnectionLost:
            return "ConnectionLost";
        case ErrorCategory::Permission:
            return "Permission";
        case ErrorCategory::InvalidValue:
            return "InvalidValue";
        case ErrorCategory::Timeout:
            return "Timeout";
        case ErrorCategory::Other:
            return "Other";
        case ErrorCategory::InDoubt:
            return "InDoubt";
    }
    return "Unknown";
}

}  // namespace vorn

namespace vorn::dal {
namespace {

struct LayerRule {
    std::uint64_t code;
    const char* name;
    const char* sqlstate;
    ErrorCategory category = ErrorCategory::Refused;
};

// The layer's own codes; each comes before anything reaches a store. All but
// the connection budget's and the lost transaction's are refusals of the call
// itself.
constexpr LayerRule kLayerRules[] = {
    {platform::errc::kDataSourceInvalid, "kDataSourceInvalid", "08001"},
    {platform::errc::kMultipleStatements, "kMultipleStatements", "42601"},
    {platform::errc::kBadParameters, "kBadParameters", "07006"},
    {platform::errc::kNoResult, "kNoResult", "24000"},
    {platform::errc::kUnknownPlaceholder, "kUnknownPlaceholder", "07001"},
    {platform::errc::kInheritedResult, "kInheritedResult", "24000"},
    {platform::errc::kUnusedParameter, "kUnusedParameter", "07001"},
    {platform::errc::kMalformedPlaceholder, "kMalformedPlaceholder", "42601"},
    {platform::errc::kTooManyConnections, "kTooManyConnections", "53300", ErrorCategory::Busy},
    {platform::errc::kTransactionRolledBack, "kTransactionRolledBack", "40000",
     ErrorCategory::Busy},
    {platform::errc::kTransactionAborted, "kTransactionAborted", "25P02", ErrorCategory::Other},
};

// A store's code the store's backend cannot tell (none should reach here).
const ErrorClass kUnknown{ErrorCategory::Other, "HY000", 0};

void appendTable(std::string& page, std::string_view heading, const std::vector<ErrorRow>& rows) {
    page.append("## ").append(heading).append(
        "\n\n| When | Category | SQLSTATE |\n|---|---|---|\n");
    for (const ErrorRow& row : rows) {
        page.append("| ").append(row.when).append(" | `").append(toString(row.category));
        page.append("` | ").append(row.sqlstate).append(" |\n");
    }
}

}  // namespace

bool isLayerRefusal(std::uint64_t code) noexcept {
    return code >= platform::errc::kAdapterBase && code < 2 * platform::errc::kAdapterBase;
}

ErrorClass classifyLayerRefusal(std::uint64_t code) {
    for (const LayerRule& rule : kLayerRules) {
        if (rule.code == code) {
            return {rule.category, rule.sqlstate, 0};
        }
    }
    return {ErrorCategory::Refused, "", 0};
}

std::vector<ErrorRow> layerRefusalRows() {
    std::vector<ErrorRow> rows;
    rows.push_back({"the library's own code 1", ErrorCategory::Refused, ""});
    for (const LayerRule& rule : kLayerRules) {
        rows.push_back({"`errc::" + std::string(rule.name) + "`", rule.category, rule.sqlstate});
    }
    rows.push_back({"any other `errc` code", ErrorCategory::Refused, ""});
    return rows;
}

ErrorClass classifyFailure(std::uint64_t code, std::string_view message, bool refusedByLibrary,
                           const Backend* backend) {
    if (code == 0) {
        return {};
    }
    if (isLayerRefusal(code)) {
        return classifyLayerRefusal(code);
    }
    if (code == 1 && refusedByLibrary) {
        return {ErrorCategory::Refused, "", 0};
    }
    if (backend == nullptr || backend->classify == nullptr) {
        return kUnknown;
    }
    return backend->classify(code, message);
}

ErrorClass classifySessionFailure(std::uint64_t code, std::string_view message,
                                  bool refusedByLibrary, const std::string& session) {
    if (code == 0) {
        return {};
    }
    return classifyFailure(code, message, refusedByLibrary, resolveDataSource(session)->backend);
}

std::string errorCategoryPage() {
    std::string page =
        "# Error categories\n\n"
        "How `vorn::lastError()`, the statistics and the statement events sort a\n"
        "failed call (see [Diagnostics](diagnostics.md)): the library's own codes\n"
        "first, then the failures of the store the session is bound to. In each\n"
        "table the first row that applies wins. This page is printed from the\n"
        "tables the library classifies with (`tests/unit/error_page_test.cpp`\n"
        "fails when they differ).\n\n";
    appendTable(page, "The library's own codes", layerRefusalRows());
    for (const Backend* backend : compiledBackends()) {
        if (backend->errorRows != nullptr) {
            page.push_back('\n');
            appendTable(page, backend->title, backend->errorRows());
        }
    }
    return page;
}

}  // namespace vorn::dal

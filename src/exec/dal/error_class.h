#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vorn/diagnostics.h"

// How failures are sorted into the categories of <vorn/diagnostics.h>. Each
// backend sorts the failures it makes (Backend::classify) from one table of
// its own, which also prints the manual's page of categories; the layer sorts
// its own refusals (the errc codes) here.
namespace vorn::dal {

struct Backend;

// A failure sorted into its portable category, with an SQLSTATE for it: the
// store's own where it has them, else the one PostgreSQL reports for the same
// fault, else the nearest standard one.
struct ErrorClass {
    ErrorCategory category = ErrorCategory::None;
    std::string sqlstate;         // "" for success and for refusals without one
    std::uint64_t storeCode = 0;  // the store's own code where it is not the SQLSTATE, else 0
};

// One row of a table, as the manual shows it: when it applies, what it gives.
// The rows are in the order they are tried; the first that applies wins.
struct ErrorRow {
    std::string when;
    ErrorCategory category;
    std::string sqlstate;
};

// The layer's own codes (vorn/platform/error_codes.h's errc): refusals, but
// for errc::kTooManyConnections (Busy) and the lost transaction's two codes.
bool isLayerRefusal(std::uint64_t code) noexcept;
ErrorClass classifyLayerRefusal(std::uint64_t code);
std::vector<ErrorRow> layerRefusalRows();

// code as a call returned it, from a session of backend (null when the
// session has no valid data source). refusedByLibrary tells the library's own
// refusal with code 1 apart from a store's code 1. message is the store's
// text, which some stores need to tell their faults apart.
ErrorClass classifyFailure(std::uint64_t code, std::string_view message, bool refusedByLibrary,
                           const Backend* backend);

// The same for a call on the session name: the backend is the one its data
// source is bound to now.
ErrorClass classifySessionFailure(std::uint64_t code, std::string_view message,
                                  bool refusedByLibrary, const std::string& session);

// The manual's page of categories: the layer's table, then each backend's,
// as Markdown (docs/error-categories.md is this text; a test keeps them equal).
std::string errorCategoryPage();

}  // namespace vorn::dal

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "vorn/diagnostics.h"

namespace vorn::diag {

// A returned code sorted into its portable category, with an SQLSTATE for it.
struct Classified {
    ErrorCategory category = ErrorCategory::None;
    std::string sqlstate;  // "" for success and for the library's own refusals without one
    std::uint64_t storeCode =
        0;  // SQLite's extended result code; 0 for PostgreSQL and the library's codes
};

// code as a call returned it: 0 for success, SQLite's extended result codes,
// PostgreSQL's codes (vorn/platform/error_codes.h: kPgCodeMarker), or the
// adapter's own errc codes. refusedByLibrary tells the library's own refusal
// with code 1 apart from SQLite's SQLITE_ERROR (1). message is the store's
// text, used only to refine SQLite's generic SQLITE_ERROR.
Classified classify(std::uint64_t code, std::string_view message, bool refusedByLibrary);

// The SQLite side of classify: code is an SQLite extended result code.
Classified classifySqlite(std::uint64_t code, std::string_view message);

}  // namespace vorn::diag

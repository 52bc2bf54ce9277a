#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "exec/dal/error_class.h"

namespace vorn::dal {

// SQLite's extended result codes (and, for SQLITE_ERROR, its messages) sorted
// into categories, the extended code kept as the store's code.
ErrorClass sqliteClassify(std::uint64_t code, std::string_view message);

// The table sqliteClassify applies, for the manual.
std::vector<ErrorRow> sqliteErrorRows();

}  // namespace vorn::dal

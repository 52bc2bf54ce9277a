#pragma once

// SOCI's side of the read benchmark, in a translation unit of its own: SOCI's
// SQLite header includes <sqlite3.h> inside a namespace, which cannot meet the
// raw baseline's global one.
#include <string>

#include "workload.h"

namespace vorn::bench {

// Opens a SOCI session on file for BM_Read100k_Soci, which reads select's
// (integer, text, real) rows.
void openSoci(const std::string& file, const char* select);
// The sums of one SOCI read of the rows.
ReadSums sociSums();

}  // namespace vorn::bench

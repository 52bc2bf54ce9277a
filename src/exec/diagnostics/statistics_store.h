#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "vorn/diagnostics.h"

namespace vorn::diag {

// The statistics of every session name and statement kind, for the whole
// process: one small table under one lock, held for a few dozen nanoseconds
// per statement (and across fork(), so a child finds it consistent).
// Counts one statement; statistics() and resetStatistics() of
// <vorn/diagnostics.h> read and empty the table (statistics_store.cpp).
void addStatistics(StatementKind kind, const char* session, std::chrono::nanoseconds duration,
                   std::uint64_t rows, ErrorCategory category);

}  // namespace vorn::diag

#pragma once

#include <string>

#include "vorn/platform/data_access.h"

namespace vorn::dal {

// Runs one statement that returns no rows on sessionName, exactly as
// DataSession(sessionName).execute(id, SqlKind::Write, sql, ...) does, for
// callers that keep nothing of the session afterwards (the executor's writes).
platform::ExecResult writeOnce(const char* sessionName, const std::string& sql);
platform::ExecResult writeOnce(const char* sessionName, const std::string& sql,
                               const platform::BoundParameters& parameters);

}  // namespace vorn::dal

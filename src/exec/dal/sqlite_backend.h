#pragma once

#include <memory>
#include <string>

#include "exec/dal/connection.h"

namespace vorn::dal {

// The "sqlite:" entry of the backend table.
bool checkSqliteUrl(const std::string& url, std::string& problem);
std::unique_ptr<Connection> connectSqlite(const std::string& url, platform::ExecResult& status);

}  // namespace vorn::dal

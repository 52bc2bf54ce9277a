#pragma once

#include <memory>
#include <string>

#include "exec/dal/connection.h"

namespace vorn::dal {

// The "postgresql://" and "postgres://" entries of the backend table.
bool checkPgUrl(const std::string& url, std::string& problem);
std::unique_ptr<Connection> connectPg(const std::string& url, platform::ExecResult& status);

}  // namespace vorn::dal

#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "exec/dal/error_class.h"

namespace vorn::dal {

// MariaDB's (and MySQL's) error numbers, the server's and Connector/C's,
// sorted into categories; the error number is kept as the store's code.
ErrorClass mariadbClassify(std::uint64_t code, std::string_view message);

// The table mariadbClassify applies, for the manual.
std::vector<ErrorRow> mariadbErrorRows();

// Whether the error number means the connection cannot be used again (the
// server went away or ended the session): category ConnectionLost.
bool mariadbConnectionLost(unsigned int errnum);

}  // namespace vorn::dal

#pragma once

#include <memory>
#include <string>

#include "exec/dal/backend.h"

namespace vorn::dal {

// The calling thread's open connections, one per session name, kept until the
// thread ends.
class ConnectionCache {
  public:
    // This thread's connection for name: the cached one while its binding is
    // unchanged and it is usable, otherwise a new one. Null with status set
    // when the name's data source is invalid or the connect fails (the next
    // call tries again).
    static std::shared_ptr<Connection> acquire(const std::string& name,
                                               platform::ExecResult& status);
};

}  // namespace vorn::dal

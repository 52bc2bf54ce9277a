#pragma once

#include <memory>

#include "log_destination.h"

namespace vorn::platform::detail {

// The process-wide current destination of log records.
//
// Records are written under a shared lock, so many threads log at once;
// replace() takes the lock exclusively, so once it returns no record is
// written to the previous destination any more and the host may free whatever
// its callback refers to. A record logged from inside a destination (a host
// callback that logs) goes to the same destination without relocking.
// replace() must not be called from inside a destination.
class LogRouter {
  public:
    static void write(LogLevel level, std::uint64_t code, const SourceLocation& where,
                      const std::string& text);

    // Installs next and returns the previous destination; the caller releases
    // it after the lock is gone, so its destruction cannot run under the lock.
    static std::shared_ptr<LogDestination> replace(std::shared_ptr<LogDestination> next);
};

}  // namespace vorn::platform::detail

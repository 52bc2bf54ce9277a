#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "vorn/platform/logger.h"

namespace vorn::platform::detail {

// One place where log records end up: a host callback, or an spdlog sink
// (stderr, a file, syslog). Implementations must accept records from many
// threads at once.
class LogDestination {
  public:
    virtual ~LogDestination() = default;
    virtual void write(LogLevel level, std::uint64_t code, const SourceLocation& where,
                       const std::string& text) = 0;
};

// Hands each record to a host callback as a LogRecord.
std::shared_ptr<LogDestination> makeCallbackDestination(LogSink sink);

// The default destination: one line per record on stderr. Shared, created once.
std::shared_ptr<LogDestination> stderrDestination();

// Appends to the file at path; throws spdlog::spdlog_ex when it cannot be opened.
std::shared_ptr<LogDestination> makeFileDestination(const std::string& path);

// Writes to syslog under ident (openlog on creation, closelog on destruction).
std::shared_ptr<LogDestination> makeSyslogDestination(const std::string& ident);

}  // namespace vorn::platform::detail

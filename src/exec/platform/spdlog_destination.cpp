#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/syslog_sink.h>
#include <syslog.h>

#include <utility>

#include "log_destination.h"

namespace vorn::platform::detail {

namespace {

// Time, level, process:thread, then the payload built below. Syslog adds its
// own time and carries the level as the priority, so it gets the payload only.
constexpr const char* kLinePattern = "%Y-%m-%d %H:%M:%S.%e [%l] [%P:%t] %v";
constexpr const char* kPayloadOnly = "%v";

spdlog::level::level_enum toSpdlog(LogLevel level) {
    switch (level) {
        case LogLevel::Trace:
            return spdlog::level::trace;
        case LogLevel::Info:
            return spdlog::level::info;
        case LogLevel::Error:
            return spdlog::level::err;
        case LogLevel::Off:
            break;
    }
    return spdlog::level::off;
}

// "unit:function:line [code=N ]text"; the code on error records and on
// those of failed calls.
std::string payload(LogLevel level, std::uint64_t code, const SourceLocation& where,
                    const std::string& text) {
    std::string out;
    out.reserve(text.size() + 64);
    out.append(where.unit != nullptr ? where.unit : "");
    out.push_back(':');
    out.append(where.function != nullptr ? where.function : "");
    out.push_back(':');
    out.append(std::to_string(where.line));
    out.push_back(' ');
    if (level == LogLevel::Error || code != 0) {
        out.append("code=");
        out.append(std::to_string(code));
        out.push_back(' ');
    }
    out.append(text);
    return out;
}

class SpdlogDestination final : public LogDestination {
  public:
    SpdlogDestination(spdlog::sink_ptr sink, const char* pattern)
        : m_logger("vorn", std::move(sink)) {
        // Filtering happens before a record gets here; every record is
        // flushed so that nothing is lost when the process dies.
        m_logger.set_level(spdlog::level::trace);
        m_logger.flush_on(spdlog::level::trace);
        m_logger.set_pattern(pattern);
    }

    void write(LogLevel level, std::uint64_t code, const SourceLocation& where,
               const std::string& text) override {
        const std::string line = payload(level, code, where, text);
        m_logger.log(toSpdlog(level), spdlog::string_view_t(line.data(), line.size()));
    }

  private:
    // Not registered with spdlog's global registry, so a host's own use of
    // spdlog is not disturbed.
    spdlog::logger m_logger;
};

}  // namespace

std::shared_ptr<LogDestination> stderrDestination() {
    // Never destroyed: records may still arrive while the process exits.
    static const auto* const destination =
        new std::shared_ptr<LogDestination>(std::make_shared<SpdlogDestination>(
            std::make_shared<spdlog::sinks::stderr_sink_mt>(), kLinePattern));
    return *destination;
}

std::shared_ptr<LogDestination> makeFileDestination(const std::string& path) {
    return std::make_shared<SpdlogDestination>(
        std::make_shared<spdlog::sinks::basic_file_sink_mt>(path, false), kLinePattern);
}

std::shared_ptr<LogDestination> makeSyslogDestination(const std::string& ident) {
    return std::make_shared<SpdlogDestination>(
        std::make_shared<spdlog::sinks::syslog_sink_mt>(ident, LOG_PID, LOG_USER, false),
        kPayloadOnly);
}

}  // namespace vorn::platform::detail

#include "vorn/platform/logger.h"

#include <spdlog/common.h>

#include <atomic>
#include <cstdlib>
#include <optional>
#include <utility>

#include "log_router.h"

namespace vorn::platform {

namespace {

constexpr const char* kLevelVariable = "VORN_LOG_LEVEL";

// Marks a threshold not yet taken from the environment.
constexpr int kUnread = -1;

// Constant-initialised, so the threshold works from any unit's load-time code.
std::atomic<int> g_threshold{kUnread};

char lowerAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

std::optional<LogLevel> parseLevel(const char* text) {
    std::string word;
    for (const char* p = text; *p != '\0'; ++p) {
        word.push_back(lowerAscii(*p));
    }
    if (word == "trace") {
        return LogLevel::Trace;
    }
    if (word == "info") {
        return LogLevel::Info;
    }
    if (word == "error") {
        return LogLevel::Error;
    }
    if (word == "off") {
        return LogLevel::Off;
    }
    return std::nullopt;
}

// Takes the threshold from VORN_LOG_LEVEL unless it has been set meanwhile.
// Only the thread that installs the value reports a value it did not know.
int readThresholdFromEnvironment() {
    const char* raw = std::getenv(kLevelVariable);
    const bool given = raw != nullptr && *raw != '\0';
    const std::optional<LogLevel> parsed = given ? parseLevel(raw) : std::nullopt;
    const int value = static_cast<int>(parsed.value_or(LogLevel::Info));

    int expected = kUnread;
    if (!g_threshold.compare_exchange_strong(expected, value, std::memory_order_acq_rel)) {
        return expected;
    }
    if (given && !parsed) {
        const std::string text = std::string("[VORNLib]Logger! ") + kLevelVariable + "=" + raw +
                                 " is not trace, info, error or off; using info";
        detail::LogRouter::write(LogLevel::Error, 1, SourceLocation{"Logger", "level", __LINE__},
                                 LogScrubber::scrub(text));
    }
    return value;
}

int threshold() {
    const int value = g_threshold.load(std::memory_order_acquire);
    return value != kUnread ? value : readThresholdFromEnvironment();
}

void writeIfEnabled(LogLevel level, std::uint64_t code, const SourceLocation& where,
                    const std::string& text) {
    if (Logger::enabled(level)) {
        detail::LogRouter::write(level, code, where, text);
    }
}

// The previous destination is released here, outside the router's lock.
void install(std::shared_ptr<detail::LogDestination> next) {
    std::shared_ptr<detail::LogDestination> previous = detail::LogRouter::replace(std::move(next));
    previous.reset();
}

}  // namespace

void Logger::error(std::uint32_t code, const SourceLocation& where, const std::string& text) {
    writeIfEnabled(LogLevel::Error, code, where, text);
}

void Logger::info(const SourceLocation& where, const std::string& text) {
    writeIfEnabled(LogLevel::Info, 0, where, text);
}

void Logger::info(std::uint64_t returnedCode, const SourceLocation& where,
                  const std::string& text) {
    writeIfEnabled(LogLevel::Info, returnedCode, where, text);
}

void Logger::trace(const SourceLocation& where, const std::string& text) {
    writeIfEnabled(LogLevel::Trace, 0, where, text);
}

void Logger::setLevel(LogLevel level) {
    g_threshold.store(static_cast<int>(level), std::memory_order_release);
}

LogLevel Logger::level() {
    return static_cast<LogLevel>(threshold());
}

bool Logger::enabled(LogLevel level) {
    return level != LogLevel::Off && static_cast<int>(level) >= threshold();
}

void Logger::setSink(LogSink sink) {
    if (!sink) {
        logToStderr();
        return;
    }
    install(detail::makeCallbackDestination(std::move(sink)));
}

void Logger::logToStderr() {
    install(detail::stderrDestination());
}

bool Logger::logToFile(const std::string& path) {
    std::shared_ptr<detail::LogDestination> file;
    try {
        file = detail::makeFileDestination(path);
    } catch (const spdlog::spdlog_ex& e) {
        error(1, SourceLocation{"Logger", "logToFile", __LINE__},
              LogScrubber::scrub(std::string("[VORNLib]Logger::logToFile! ") + e.what()));
        return false;
    }
    install(std::move(file));
    return true;
}

void Logger::logToSyslog(const std::string& ident) {
    // closelog() of a syslog destination being replaced would also close the
    // connection the new one opened (syslog state is process-wide), so the
    // previous destination is retired before the new one is opened. Records
    // logged in between go to stderr.
    install(detail::stderrDestination());
    install(detail::makeSyslogDestination(ident));
}

}  // namespace vorn::platform

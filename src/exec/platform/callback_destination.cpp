#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <utility>

#include "log_destination.h"

namespace vorn::platform::detail {

namespace {

std::string orEmpty(const char* text) {
    return text != nullptr ? std::string(text) : std::string();
}

class CallbackDestination final : public LogDestination {
  public:
    explicit CallbackDestination(LogSink sink) : m_sink(std::move(sink)) {}

    void write(LogLevel level, std::uint64_t code, const SourceLocation& where,
               const std::string& text) override {
        const auto narrow = code <= UINT32_MAX ? static_cast<std::uint32_t>(code) : 0U;
        const LogRecord record{level,
                               narrow,
                               orEmpty(where.unit),
                               orEmpty(where.function),
                               where.line,
                               text,
                               code,
                               static_cast<std::uint64_t>(::gettid())};
        // Logging is called from error paths and destructors, so a failing
        // host callback must not unwind through the library.
        try {
            m_sink(record);
        } catch (const std::exception& e) {
            (void)std::fprintf(stderr, "[VORNLib]log sink failed (%s); a record was dropped\n",
                               e.what());
        } catch (...) {
            (void)std::fputs("[VORNLib]log sink failed; a record was dropped\n", stderr);
        }
    }

  private:
    LogSink m_sink;
};

}  // namespace

std::shared_ptr<LogDestination> makeCallbackDestination(LogSink sink) {
    return std::make_shared<CallbackDestination>(std::move(sink));
}

}  // namespace vorn::platform::detail

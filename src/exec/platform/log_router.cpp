#include "log_router.h"

#include <mutex>
#include <shared_mutex>
#include <utility>

namespace vorn::platform::detail {

namespace {

struct RouterState {
    std::shared_mutex mutex;
    std::shared_ptr<LogDestination> current = stderrDestination();
};

// Never destroyed, so records logged during process exit still have a place.
RouterState& state() {
    static auto* const routerState = new RouterState();
    return *routerState;
}

// The destination this thread is writing to right now, if any.
thread_local LogDestination* t_writingTo = nullptr;

class WritingScope {
  public:
    explicit WritingScope(LogDestination* destination) { t_writingTo = destination; }
    ~WritingScope() { t_writingTo = nullptr; }
    WritingScope(const WritingScope&) = delete;
    WritingScope& operator=(const WritingScope&) = delete;
};

}  // namespace

void LogRouter::write(LogLevel level, std::uint64_t code, const SourceLocation& where,
                      const std::string& text) {
    if (t_writingTo != nullptr) {
        t_writingTo->write(level, code, where, text);
        return;
    }
    RouterState& s = state();
    std::shared_lock<std::shared_mutex> lock(s.mutex);
    const WritingScope scope(s.current.get());
    s.current->write(level, code, where, text);
}

std::shared_ptr<LogDestination> LogRouter::replace(std::shared_ptr<LogDestination> next) {
    RouterState& s = state();
    std::unique_lock<std::shared_mutex> lock(s.mutex);
    std::swap(s.current, next);
    return next;
}

}  // namespace vorn::platform::detail

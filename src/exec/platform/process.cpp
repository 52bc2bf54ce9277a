#include "vorn/platform/process.h"

#include <unistd.h>

#include <atomic>

namespace vorn::platform {

namespace {

// Null means the real process id. Constant-initialised, so it is usable from
// other units' load-time code.
std::atomic<ProcessIdSource> g_source{nullptr};

}  // namespace

std::uint64_t currentProcessId() {
    const ProcessIdSource source = g_source.load(std::memory_order_acquire);
    if (source != nullptr) {
        return source();
    }
    return static_cast<std::uint64_t>(::getpid());
}

ProcessIdSource setProcessIdSource(ProcessIdSource source) {
    return g_source.exchange(source, std::memory_order_acq_rel);
}

}  // namespace vorn::platform

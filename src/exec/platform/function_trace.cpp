#include "vorn/platform/logger.h"

namespace vorn::platform {

// Whether to trace is decided once, on entry, so a scope that logged "enter"
// is the only kind that logs "leave" (unless trace is switched off meanwhile).
FunctionTrace::FunctionTrace(const SourceLocation& where)
    : m_where(where), m_active(Logger::enabled(LogLevel::Trace)) {
    if (m_active) {
        Logger::trace(m_where, "enter");
    }
}

FunctionTrace::~FunctionTrace() {
    if (m_active) {
        Logger::trace(m_where, "leave");
    }
}

}  // namespace vorn::platform

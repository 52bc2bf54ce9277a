#pragma once

#include <cstdint>

#include "vorn/export.h"

namespace vorn::platform {

// The current process's identifier (getpid()).
VORN_API std::uint64_t currentProcessId();

// Replaces the source of currentProcessId(), for tests of process-dependent
// behaviour; nullptr restores getpid(). Returns the previous source.
using ProcessIdSource = std::uint64_t (*)();
VORN_API ProcessIdSource setProcessIdSource(ProcessIdSource source);

}  // namespace vorn::platform

#pragma once

/// @file
/// @brief The identifier of the current process, replaceable for tests.

#include <cstdint>

#include "vorn/export.h"

namespace vorn::platform {

/// The current process's identifier (getpid()).
VORN_API std::uint64_t currentProcessId();

/// A function that gives a process identifier.
using ProcessIdSource = std::uint64_t (*)();
/// Replaces the source of currentProcessId(), for tests of process-dependent
/// behaviour; nullptr restores getpid(). Returns the previous source.
VORN_API ProcessIdSource setProcessIdSource(ProcessIdSource source);

}  // namespace vorn::platform

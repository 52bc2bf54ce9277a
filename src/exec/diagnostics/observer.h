#pragma once

#include <chrono>

#include "vorn/diagnostics.h"

// Who hears of each statement: the observer a host set, and the slow-statement
// log. Both cost one relaxed atomic load per statement while unset.
namespace vorn::diag {

bool observing() noexcept;
// Hands event to the observer, if one is set; what it throws is dropped.
void notifyObserver(const StatementEvent& event) noexcept;

bool isSlow(std::chrono::nanoseconds duration) noexcept;

}  // namespace vorn::diag

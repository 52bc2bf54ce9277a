#include "vorn/platform/process.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>

namespace {

using vorn::platform::currentProcessId;
using vorn::platform::ProcessIdSource;
using vorn::platform::setProcessIdSource;

// The real process id by default; a substitute source until it is replaced,
// each replacement returning the one before.
TEST(ProcessId, IsTheRealOneUnlessASourceIsSubstituted) {
    const auto realId = static_cast<std::uint64_t>(::getpid());
    EXPECT_EQ(currentProcessId(), realId);
    const ProcessIdSource first = []() -> std::uint64_t { return 4073 + 65536; };
    const ProcessIdSource second = []() -> std::uint64_t { return UINT64_MAX; };
    EXPECT_EQ(setProcessIdSource(first), nullptr);
    EXPECT_EQ(currentProcessId(), 4073U + 65536U);
    EXPECT_EQ(setProcessIdSource(second), first);
    EXPECT_EQ(currentProcessId(), UINT64_MAX);
    EXPECT_EQ(setProcessIdSource(nullptr), second);
    EXPECT_EQ(currentProcessId(), realId);
}

}  // namespace

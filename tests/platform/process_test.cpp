#include "vorn/platform/process.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

namespace {

using vorn::platform::currentProcessId;
using vorn::platform::ProcessIdSource;
using vorn::platform::setProcessIdSource;

TEST(ProcessId, IsTheRealProcessIdByDefault) {
    EXPECT_EQ(currentProcessId(), static_cast<std::uint64_t>(::getpid()));
}

TEST(ProcessId, SubstitutesAndRestores) {
    struct Case {
        ProcessIdSource source;
        std::uint64_t expected;
    };
    const std::vector<Case> cases = {
        {[]() -> std::uint64_t { return 4073; }, 4073},
        {[]() -> std::uint64_t { return 4073 + 65536; }, 4073 + 65536},
        {[]() -> std::uint64_t { return 4222; }, 4222},
        {[]() -> std::uint64_t { return UINT64_MAX; }, UINT64_MAX},
    };
    ProcessIdSource expectedPrevious = nullptr;
    for (const auto& c : cases) {
        EXPECT_EQ(setProcessIdSource(c.source), expectedPrevious);
        EXPECT_EQ(currentProcessId(), c.expected);
        expectedPrevious = c.source;
    }
    EXPECT_EQ(setProcessIdSource(nullptr), expectedPrevious);
    EXPECT_EQ(currentProcessId(), static_cast<std::uint64_t>(::getpid()));
}

}  // namespace

// The process identity: the real one, or a substitute source, swapped while
// other threads read it.
#include "vorn/platform/process.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

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

TEST(ProcessIdConcurrency, ReadersSeeOnlyInstalledSources) {
    const auto realId = static_cast<std::uint64_t>(::getpid());
    std::atomic<bool> stop{false};
    std::atomic<int> unexpected{0};
    std::vector<std::thread> readers;
    readers.reserve(4);
    for (int t = 0; t < 4; ++t) {
        readers.emplace_back([&] {
            while (!stop.load()) {
                const std::uint64_t id = currentProcessId();
                if (id != realId && id != 4073 && id != 4222) {
                    ++unexpected;
                }
            }
        });
    }
    for (int i = 0; i < 2000; ++i) {
        setProcessIdSource(i % 2 == 0 ? +[]() -> std::uint64_t { return 4073; }
                                      : +[]() -> std::uint64_t { return 4222; });
        setProcessIdSource(nullptr);
    }
    stop = true;
    for (auto& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(unexpected.load(), 0);
    EXPECT_EQ(currentProcessId(), realId);
}

}  // namespace

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "vorn/platform/process.h"

namespace {

using vorn::platform::currentProcessId;
using vorn::platform::setProcessIdSource;

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

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "vorn/platform/logger.h"

namespace {

using vorn::platform::Logger;
using vorn::platform::LogLevel;
using vorn::platform::LogRecord;
using vorn::platform::SourceLocation;

constexpr int kLoggers = 6;
constexpr int kRecordsEach = 2000;
constexpr int kSwaps = 300;

// A destination that counts what it receives, and notices records that
// arrive after it was replaced.
struct CountingSink {
    std::atomic<bool> retired{true};
    std::atomic<int> late{0};
    std::atomic<int> malformed{0};
};

TEST(LoggerConcurrency, EveryRecordReachesExactlyOneCurrentDestination) {
    std::vector<std::atomic<int>> seen(static_cast<std::size_t>(kLoggers) * kRecordsEach);
    CountingSink sinks[2];
    auto sinkFor = [&seen](CountingSink& sink) {
        return [&seen, &sink](const LogRecord& r) {
            if (sink.retired.load()) {
                ++sink.late;
            }
            const std::size_t index = std::stoul(r.text);
            if (r.level != LogLevel::Error || r.code != index || r.unit != "Worker" ||
                r.line != 7 || index >= seen.size()) {
                ++sink.malformed;
                return;
            }
            ++seen[index];
        };
    };

    sinks[0].retired = false;
    Logger::setSink(sinkFor(sinks[0]));
    std::atomic<int> running{kLoggers};
    std::vector<std::thread> threads;
    threads.reserve(kLoggers);
    for (int t = 0; t < kLoggers; ++t) {
        threads.emplace_back([t, &running] {
            for (int i = 0; i < kRecordsEach; ++i) {
                const int index = t * kRecordsEach + i;
                Logger::error(static_cast<std::uint32_t>(index), SourceLocation{"Worker", "run", 7},
                              std::to_string(index));
            }
            --running;
        });
    }
    // Swap the destination back and forth while the workers log; also flip
    // the threshold between two levels that both pass errors.
    int current = 0;
    for (int swap = 0; swap < kSwaps || running.load() > 0; ++swap) {
        const int next = 1 - current;
        sinks[next].retired = false;
        Logger::setSink(sinkFor(sinks[next]));
        sinks[current].retired = true;
        Logger::setLevel(swap % 2 == 0 ? LogLevel::Trace : LogLevel::Info);
        current = next;
    }
    for (auto& thread : threads) {
        thread.join();
    }
    Logger::logToStderr();
    Logger::setLevel(LogLevel::Info);

    for (const auto& sink : sinks) {
        EXPECT_EQ(sink.late.load(), 0);
        EXPECT_EQ(sink.malformed.load(), 0);
    }
    for (std::size_t i = 0; i < seen.size(); ++i) {
        ASSERT_EQ(seen[i].load(), 1) << "record " << i;
    }
}

}  // namespace

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "vorn/platform/logger.h"

namespace {

using vorn::platform::Logger;
using vorn::platform::LogLevel;
using vorn::platform::LogRecord;

// Each case runs in a freshly started copy of this program (the threadsafe
// death-test style re-executes it), because the variable is read only once
// per process.
class FreshProcess : public ::testing::Test {
  protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

struct LevelCase {
    const char* value;  // null: variable unset
    LogLevel expected;
    const char* complaint;  // null, or a part of the error record that reports the value
};

[[noreturn]] void checkLevel(const LevelCase& c) {
    if (c.value != nullptr) {
        (void)::setenv("VORN_LOG_LEVEL", c.value, 1);
    } else {
        (void)::unsetenv("VORN_LOG_LEVEL");
    }
    int complaints = 0;
    bool complaintRight = c.complaint == nullptr;
    Logger::setSink([&](const LogRecord& r) {
        ++complaints;
        complaintRight = c.complaint != nullptr && r.level == LogLevel::Error && r.code == 1 &&
                         r.text.find(c.complaint) != std::string::npos;
    });
    const bool levelRight = Logger::level() == c.expected;
    complaintRight = complaintRight && complaints == (c.complaint != nullptr ? 1 : 0);
    std::_Exit(levelRight && complaintRight ? 0 : 1);
}

TEST_F(FreshProcess, TheLevelIsSetFromTheVariableAtFirstUse) {
    const LevelCase cases[] = {
        {nullptr, LogLevel::Info, nullptr},
        {"", LogLevel::Info, nullptr},
        {"trace", LogLevel::Trace, nullptr},
        {"info", LogLevel::Info, nullptr},
        {"ERROR", LogLevel::Error, nullptr},
        {"Off", LogLevel::Off, nullptr},
        {"verbose", LogLevel::Info,
         "[VORNLib]Logger! VORN_LOG_LEVEL=verbose is not trace, info, error or off"},
        {"x\ny", LogLevel::Info, "VORN_LOG_LEVEL=x\\x0Ay is"},  // scrubbed in the complaint
    };
    for (const LevelCase& c : cases) {
        EXPECT_EXIT(checkLevel(c), ::testing::ExitedWithCode(0), "")
            << (c.value == nullptr ? "unset" : c.value);
    }
}

// Read once: later changes of the variable are ignored, and a level set
// before the first use wins over it.
TEST_F(FreshProcess, TheVariableIsReadOnceAndAnExplicitLevelWins) {
    EXPECT_EXIT(
        {
            (void)::setenv("VORN_LOG_LEVEL", "error", 1);
            const bool first = Logger::level() == LogLevel::Error;
            (void)::setenv("VORN_LOG_LEVEL", "trace", 1);
            std::_Exit(first && Logger::level() == LogLevel::Error ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            (void)::setenv("VORN_LOG_LEVEL", "error", 1);
            Logger::setLevel(LogLevel::Trace);
            std::_Exit(Logger::level() == LogLevel::Trace ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace

#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "log_capture.h"

namespace vorn::test {

// What remains of a number too long for the 200-byte buffer: the C library's
// full text cut at 199 characters.
inline std::string cutNumber(const char* format, double value) {
    char full[512] = {};
    (void)std::snprintf(full, sizeof full, format, value);
    return std::string(full).substr(0, 199);
}

// Exactly one record was logged: the error of a formatting failure with this
// location and text. A line of 0 accepts any positive line.
inline void expectFormatFailure(const LogCapture& log, const std::string& unit,
                                const std::string& function, int line, const std::string& text) {
    const auto records = log.records();
    ASSERT_EQ(records.size(), 1U);
    const auto& record = records.front();
    EXPECT_EQ(record.level, platform::LogLevel::Error);
    EXPECT_EQ(record.code, 4294967295U);
    EXPECT_EQ(record.unit, unit);
    EXPECT_EQ(record.function, function);
    if (line == 0) {
        EXPECT_GT(record.line, 0);
    } else {
        EXPECT_EQ(record.line, line);
    }
    EXPECT_EQ(record.text, text);
}

}  // namespace vorn::test

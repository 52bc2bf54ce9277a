#include "vorn/platform/logger.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "log_capture.h"
#include "scratch_dir.h"
#include "stderr_capture.h"

namespace {

using vorn::platform::FunctionTrace;
using vorn::platform::Logger;
using vorn::platform::LogLevel;
using vorn::platform::LogRecord;
using vorn::platform::SourceLocation;
using vorn::test::LogCapture;

const SourceLocation kWhere{"MiraDB", "execWriteSQL", 80};

void expectRecord(const LogRecord& r, LogLevel level, std::uint32_t code, const SourceLocation& at,
                  const std::string& text) {
    EXPECT_EQ(r.level, level);
    EXPECT_EQ(r.code, code);
    EXPECT_EQ(r.unit, at.unit);
    EXPECT_EQ(r.function, at.function);
    EXPECT_EQ(r.line, at.line);
    EXPECT_EQ(r.text, text);
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        out.push_back(line);
    }
    return out;
}

// Whether line is "<date> <time> [<level>] [<pid>:<tid>] " and then rest (a
// regular expression).
bool isLine(const std::string& line, const std::string& level, const std::string& rest) {
    return std::regex_match(line, std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[)" + level +
                                             R"(\] \[\d+:\d+\] )" + rest));
}

TEST(Logger, DeliversRecordsExactly) {
    const LogCapture capture;
    const SourceLocation infoAt{"MiraDB", "execReadSQL", 65};
    const SourceLocation traceAt{"MiraDB", "execReadSQL", 55};
    Logger::error(1, kWhere, "[VORNLib]execWriteSQL! strSQL is empty string!");
    Logger::error(4294967295U, kWhere, "");
    Logger::info(infoAt, "[VORNLib]no such table: t");
    Logger::trace(traceAt, "step");
    // The logger writes what it is given: filtering is the caller's job.
    Logger::info(infoAt, "raw\r\ntext\x1b[0m");
    Logger::info(SourceLocation{nullptr, nullptr, 0}, "x");  // null parts become empty

    const auto records = capture.records();
    ASSERT_EQ(records.size(), 6U);
    expectRecord(records[0], LogLevel::Error, 1, kWhere,
                 "[VORNLib]execWriteSQL! strSQL is empty string!");
    expectRecord(records[1], LogLevel::Error, 4294967295U, kWhere, "");
    expectRecord(records[2], LogLevel::Info, 0, infoAt, "[VORNLib]no such table: t");
    expectRecord(records[3], LogLevel::Trace, 0, traceAt, "step");
    expectRecord(records[4], LogLevel::Info, 0, infoAt, "raw\r\ntext\x1b[0m");
    expectRecord(records[5], LogLevel::Info, 0, SourceLocation{"", "", 0}, "x");
}

TEST(Logger, PassesLevelsAtOrAboveTheThreshold) {
    const struct {
        LogLevel threshold;
        std::string passed;  // of trace, info and error: "t", "i", "e"
    } cases[] = {{LogLevel::Trace, "tie"},
                 {LogLevel::Info, "ie"},
                 {LogLevel::Error, "e"},
                 {LogLevel::Off, ""}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.passed);
        const LogCapture capture;
        Logger::setLevel(c.threshold);
        EXPECT_EQ(Logger::level(), c.threshold);
        Logger::trace(kWhere, "t");
        Logger::info(kWhere, "i");
        Logger::error(2, kWhere, "e");
        std::string seen;
        for (const auto& r : capture.records()) {
            seen += r.text;
        }
        EXPECT_EQ(seen, c.passed);
        EXPECT_EQ(Logger::enabled(LogLevel::Trace), c.passed.find('t') != std::string::npos);
        EXPECT_EQ(Logger::enabled(LogLevel::Info), c.passed.find('i') != std::string::npos);
        EXPECT_EQ(Logger::enabled(LogLevel::Error), c.passed.find('e') != std::string::npos);
        EXPECT_FALSE(Logger::enabled(LogLevel::Off));
    }
}

// A trace logs entry and exit around its scope, as the threshold was on entry.
TEST(FunctionTrace, TracesEntryAndExitAroundTheScope) {
    const LogCapture capture;
    const SourceLocation at{"MiraDB", "execReadSQL", 55};
    {
        const FunctionTrace trace(at);
        Logger::info(kWhere, "inside");
    }
    Logger::setLevel(LogLevel::Info);
    {
        const FunctionTrace trace(kWhere);
        Logger::setLevel(LogLevel::Trace);  // too late for this scope
    }
    const auto records = capture.records();
    ASSERT_EQ(records.size(), 3U);
    expectRecord(records[0], LogLevel::Trace, 0, at, "enter");
    EXPECT_EQ(records[1].text, "inside");
    expectRecord(records[2], LogLevel::Trace, 0, at, "leave");
}

// A replaced sink gets no further records; a sink may log itself.
TEST(LogSink, ReplacedSinkGetsNoFurtherRecordsAndASinkMayLogItself) {
    std::vector<std::string> first;
    std::vector<std::string> second;
    {
        const LogCapture restore;  // puts stderr and Info back afterwards
        Logger::setSink([&first](const LogRecord& r) { first.push_back(r.text); });
        Logger::info(kWhere, "a");
        Logger::setSink([&second](const LogRecord& r) {
            second.push_back(r.text);
            if (r.text == "outer") {
                Logger::info(kWhere, "nested");
            }
        });
        Logger::info(kWhere, "outer");
    }
    EXPECT_EQ(first, std::vector<std::string>{"a"});
    EXPECT_EQ(second, (std::vector<std::string>{"outer", "nested"}));
}

TEST(LogSink, ThrowingSinkDoesNotUnwindIntoTheCaller) {
    const LogCapture restore;
    int calls = 0;
    Logger::setSink([&calls](const LogRecord&) {
        ++calls;
        throw std::runtime_error("host sink broken");
    });
    vorn::test::ScratchDir dir;
    vorn::test::StderrCapture err(dir.file("stderr"));
    EXPECT_NO_THROW(Logger::error(1, kWhere, "x"));
    EXPECT_NO_THROW(Logger::info(kWhere, "y"));
    EXPECT_EQ(calls, 2);
    EXPECT_NE(err.finish().find("host sink broken"), std::string::npos);
}

TEST(LogDestination, StderrLineHoldsTimeLevelLocationCodeAndText) {
    const vorn::test::ScratchDir dir;
    std::string written;
    {
        const LogCapture restore;
        Logger::setSink({});  // an empty sink means stderr again
        vorn::test::StderrCapture err(dir.file("stderr"));
        Logger::error(1, kWhere, "[VORNLib]execWriteSQL! strSQL is empty string!");
        Logger::info(SourceLocation{"MiraDB", "execWriteSQL", 86}, "[VORNLib]detail");
        written = err.finish();
    }
    const auto got = lines(written);
    ASSERT_EQ(got.size(), 2U) << written;
    EXPECT_TRUE(isLine(got[0], "error",
                       R"(MiraDB:execWriteSQL:80 code=1 \[VORNLib\]execWriteSQL! strSQL is )"
                       R"(empty string!)"))
        << got[0];
    EXPECT_TRUE(isLine(got[1], "info", R"(MiraDB:execWriteSQL:86 \[VORNLib\]detail)")) << got[1];
}

TEST(LogDestination, FileIsAppendedTo) {
    const vorn::test::ScratchDir dir;
    const std::string path = dir.file("vorn.log");
    { std::ofstream(path) << "kept from before\n"; }
    {
        const LogCapture restore;
        ASSERT_TRUE(Logger::logToFile(path));
        Logger::error(7, kWhere, "to the file");
        Logger::trace(kWhere, "traced");
        Logger::logToStderr();  // closes the file
    }
    const auto got = lines(vorn::test::fileText(path));
    ASSERT_EQ(got.size(), 3U);
    EXPECT_EQ(got[0], "kept from before");
    EXPECT_TRUE(isLine(got[1], "error", "MiraDB:execWriteSQL:80 code=7 to the file")) << got[1];
    EXPECT_TRUE(isLine(got[2], "trace", "MiraDB:execWriteSQL:80 traced")) << got[2];
}

TEST(LogDestination, UnopenableFileKeepsTheCurrentDestination) {
    const vorn::test::ScratchDir dir;
    const LogCapture capture;
    // spdlog creates missing directories, so the parent is made a plain file.
    { std::ofstream(dir.file("not-a-dir")) << "x"; }
    const std::string path = dir.file("not-a-dir/vorn.log");
    EXPECT_FALSE(Logger::logToFile(path));
    Logger::info(kWhere, "still captured");

    const auto records = capture.records();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].level, LogLevel::Error);
    EXPECT_EQ(records[0].code, 1U);
    EXPECT_EQ(records[0].text.rfind("[VORNLib]Logger::logToFile! ", 0), 0U) << records[0].text;
    EXPECT_NE(records[0].text.find(path), std::string::npos);
    EXPECT_EQ(records[1].text, "still captured");
}

TEST(LogDestination, SyslogTakesOverFromTheSink) {
    const LogCapture capture;
    Logger::logToSyslog("vorn-test");
    Logger::info(kWhere, "to syslog");
    Logger::logToStderr();
    EXPECT_TRUE(capture.records().empty());
}

}  // namespace

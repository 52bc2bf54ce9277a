#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "vorn/platform/logger.h"

namespace vorn::test {

// Captures every log record for the lifetime of the object, at every level,
// then restores stderr output and the Info threshold.
class LogCapture {
  public:
    LogCapture() {
        platform::Logger::setLevel(platform::LogLevel::Trace);
        platform::Logger::setSink([this](const platform::LogRecord& record) {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_records.push_back(record);
        });
    }
    ~LogCapture() {
        platform::Logger::logToStderr();
        platform::Logger::setLevel(platform::LogLevel::Info);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<platform::LogRecord> records() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_records;
    }
    // Records of one level only.
    std::vector<platform::LogRecord> at(platform::LogLevel level) const {
        std::vector<platform::LogRecord> out;
        for (const auto& r : records()) {
            if (r.level == level) {
                out.push_back(r);
            }
        }
        return out;
    }
    // The texts of the records that contain part, one a line: "" when none does.
    std::string containing(const std::string& part) const {
        std::string out;
        for (const auto& r : records()) {
            out += r.text.find(part) == std::string::npos ? "" : r.text + "\n";
        }
        return out;
    }
    void reset() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_records.clear();
    }

  private:
    mutable std::mutex m_mutex;
    std::vector<platform::LogRecord> m_records;
};

}  // namespace vorn::test

#pragma once

#include <string>

namespace vorn::dal {

// The settings of an "sqlite:<path>[?option=value&...]" URL.
struct SqliteSettings {
    enum class Mode { ReadWriteCreate, ReadWrite, ReadOnly };

    std::string path;
    Mode mode = Mode::ReadWriteCreate;
    int busyTimeoutMs = 5000;
    std::string journalMode = "wal";
    std::string synchronous;  // empty: SQLite's default

    // Parses url; false with a problem text when it is malformed.
    static bool parse(const std::string& url, SqliteSettings& out, std::string& problem);
};

}  // namespace vorn::dal

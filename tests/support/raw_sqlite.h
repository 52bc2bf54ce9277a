#pragma once

#include <sqlite3.h>

#include <string>
#include <vector>

namespace vorn::test {

// A handle of the test's own on an SQLite file, through sqlite3 itself rather
// than the library: to prepare a file, or to read what the library left in it
// as the next program to open it would. The file's error codes are extended.
class RawSqlite {
  public:
    explicit RawSqlite(const std::string& path,
                       int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)
        : m_status(sqlite3_open_v2(path.c_str(), &m_db, flags, nullptr)) {
        sqlite3_extended_result_codes(m_db, 1);
    }
    ~RawSqlite() { sqlite3_close(m_db); }
    RawSqlite(const RawSqlite&) = delete;
    RawSqlite& operator=(const RawSqlite&) = delete;

    sqlite3* handle() const { return m_db; }
    int openStatus() const { return m_status; }
    std::string error() const { return sqlite3_errmsg(m_db); }

    // Runs the statements of sql; their result code.
    int run(const std::string& sql) const {
        return sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, nullptr);
    }
    // The rows of sql as text fields ("" for NULL); {{"!" + error}} when it fails.
    std::vector<std::vector<std::string>> rows(const std::string& sql) const {
        std::vector<std::vector<std::string>> out;
        sqlite3_stmt* stmt = nullptr;
        int code = m_status != SQLITE_OK
                       ? m_status
                       : sqlite3_prepare_v2(m_db, sql.c_str(), -1, &stmt, nullptr);
        while (code == SQLITE_OK && (code = sqlite3_step(stmt)) == SQLITE_ROW) {
            auto& row = out.emplace_back();
            for (int i = 0; i < sqlite3_column_count(stmt); ++i) {
                const auto* text = sqlite3_column_text(stmt, i);
                row.emplace_back(text != nullptr ? reinterpret_cast<const char*>(text) : "");
            }
            code = SQLITE_OK;
        }
        sqlite3_finalize(stmt);
        if (code != SQLITE_DONE) {
            out = {{"!" + error()}};
        }
        return out;
    }

  private:
    sqlite3* m_db = nullptr;
    int m_status;
};

}  // namespace vorn::test

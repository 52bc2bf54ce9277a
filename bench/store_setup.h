#pragma once

#include <sqlite3.h>
#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace vorn::bench {

// A scratch data directory for the library's default session, and a raw SQLite
// connection to the same file, opened as the library opens its own (no
// serialising mutex, WAL, SQLite's default synchronisation, a busy timeout),
// for the baselines.
class Store {
  public:
    Store() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "vorn-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            std::perror("mkdtemp");
            std::exit(1);
        }
        m_dir = pattern;
        ::setenv("VORN_DATA_DIR", m_dir.c_str(), 1);
        m_file = (m_dir / "default.db").string();
        const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
        if (sqlite3_open_v2(m_file.c_str(), &m_raw, flags, nullptr) != SQLITE_OK) {
            std::fprintf(stderr, "cannot open %s\n", m_file.c_str());
            std::exit(1);
        }
        execute("pragma journal_mode=wal");
        sqlite3_busy_timeout(m_raw, 5000);
    }
    ~Store() {
        sqlite3_close(m_raw);
        std::error_code ignored;
        std::filesystem::remove_all(m_dir, ignored);
    }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    sqlite3* raw() const { return m_raw; }
    // The database file of the library's default session.
    const std::string& file() const { return m_file; }

    void execute(const char* sql) {
        char* message = nullptr;
        if (sqlite3_exec(m_raw, sql, nullptr, nullptr, &message) != SQLITE_OK) {
            std::fprintf(stderr, "%s: %s\n", sql, message);
            std::exit(1);
        }
    }

    // Runs a one-parameter insert for 1..rows inside one transaction.
    void fill(const char* sql, int rows) {
        execute("begin");
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(m_raw, sql, -1, &statement, nullptr);
        for (int i = 1; i <= rows; ++i) {
            sqlite3_bind_int(statement, 1, i);
            sqlite3_step(statement);
            sqlite3_reset(statement);
        }
        sqlite3_finalize(statement);
        execute("commit");
    }

  private:
    std::filesystem::path m_dir;
    std::string m_file;
    sqlite3* m_raw = nullptr;
};

}  // namespace vorn::bench

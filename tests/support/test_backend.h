#pragma once

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

#include "vorn/datasource.h"
#include "vorn/platform/data_access.h"
#include "vorn/platform/error_codes.h"

namespace vorn::test {

// The store a suite runs against: the embedded SQLite default, or with
// VORN_TEST_BACKEND=postgresql the server named by VORN_TEST_PG_URL.
enum class Backend { Sqlite, Postgres };

inline Backend backendUnderTest() {
    const char* name = std::getenv("VORN_TEST_BACKEND");
    return name != nullptr && std::string(name) == "postgresql" ? Backend::Postgres
                                                                : Backend::Sqlite;
}

inline bool onPostgres() {
    return backendUnderTest() == Backend::Postgres;
}

// The test server's URL (as "scripts/pg-server start <dir>" prints it), or ""
// when none was started for the tests. The only reader of the variable.
inline std::string postgresUrl() {
    const char* url = std::getenv("VORN_TEST_PG_URL");
    return url == nullptr ? std::string() : std::string(url);
}

inline const char* const kNoServer =
    "VORN_TEST_PG_URL is not set: start a throwaway server with \"scripts/pg-server start <dir>\" "
    "and export the lines it prints";

// url with further query options ("a=b&c=d").
inline std::string withOptions(const std::string& url, const std::string& options) {
    return url + (url.find('?') == std::string::npos ? "?" : "&") + options;
}

// The store's code for an error: SQLite's extended result code, or the code
// that carries PostgreSQL's SQLSTATE.
inline std::uint64_t storeCode(std::uint64_t sqliteCode, const char* sqlstate) {
    return onPostgres() ? platform::pgCodeFromSqlstate(sqlstate) : sqliteCode;
}

// Runs one statement on a session bound to the server itself (for set-up).
inline bool adminExecute(const std::string& sql) {
    static const char* const kAdmin = "vorn_test_admin";
    if (bindDataSource(kAdmin, postgresUrl()) != 0) {
        return false;
    }
    platform::DataSession session(kAdmin);
    return session.execute("test:admin:0", platform::SqlKind::Write, sql, platform::NoParameters{})
        .ok();
}

// A URL of the test server whose unqualified table names live in schema.
inline std::string postgresUrlForSchema(const std::string& schema) {
    return withOptions(postgresUrl(), "options=-c%20search_path%3D" + schema);
}

inline std::string uniqueSchemaName() {
    std::random_device seed;
    std::mt19937_64 generator(seed());
    return "vt_" + std::to_string(generator() % 1000000000000ULL);
}

}  // namespace vorn::test

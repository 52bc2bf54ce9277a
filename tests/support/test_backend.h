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

// The value of an environment variable, or "" when it is not set.
inline std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

inline Backend backendUnderTest() {
    return environment("VORN_TEST_BACKEND") == "postgresql" ? Backend::Postgres : Backend::Sqlite;
}

inline bool onPostgres() {
    return backendUnderTest() == Backend::Postgres;
}

// The test server's URL (as "scripts/pg-server start <dir>" prints it), or ""
// when none was started for the tests. The only reader of the variable.
inline std::string postgresUrl() {
    return environment("VORN_TEST_PG_URL");
}

inline const char* const kNoServer =
    "VORN_TEST_PG_URL is not set: start a throwaway server with \"scripts/pg-server start <dir>\" "
    "and export the lines it prints";

// The shell command that restarts the test server (VORN_TEST_PG_RESTART, e.g.
// "scripts/pg-server restart <dir>"), or "" when none was given.
inline std::string restartCommand() {
    return environment("VORN_TEST_PG_RESTART");
}

inline const char* const kNoRestart =
    "VORN_TEST_PG_RESTART is not set: give it a shell command that restarts the server, e.g. "
    "\"scripts/pg-server restart <dir>\"";

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

// pgbouncer in transaction pooling mode in front of the test server
// (VORN_TEST_PG_POOLER_URL, as "scripts/pg-cluster start" prints it), or "".
// Behind it no session setting survives a transaction, so a test's stores are
// databases of their own instead of schemas.
inline std::string poolerUrl() {
    return environment("VORN_TEST_PG_POOLER_URL");
}

// url with its database replaced by database.
inline std::string withDatabase(const std::string& url, const std::string& database) {
    const std::size_t authority = url.find("://");
    const std::size_t path = url.find('/', authority == std::string::npos ? 0 : authority + 3);
    if (path == std::string::npos) {
        return url + "/" + database;
    }
    const std::size_t query = url.find('?', path);
    return url.substr(0, path + 1) + database +
           (query == std::string::npos ? std::string() : url.substr(query));
}

// A store of its own for a test on the PostgreSQL server: a schema, or behind
// the pooler a database reached through it (vorn_pool_mode=transaction). name
// is new and in lower case.
struct PgScratchStore {
    std::string url;   // to bind a session name to
    std::string drop;  // the statement that removes it
};

inline bool makePgScratchStore(const std::string& name, PgScratchStore& out) {
    if (poolerUrl().empty()) {
        out.url = postgresUrlForSchema(name);
        out.drop = "drop schema \"" + name + "\" cascade";
        return adminExecute("create schema \"" + name + "\"");
    }
    out.url = withOptions(withDatabase(poolerUrl(), name), "vorn_pool_mode=transaction");
    out.drop = "drop database \"" + name + "\" with (force)";
    return adminExecute("create database \"" + name + "\" strategy file_copy");
}

// The URL of a scratch store (named name) with a server setting for its new
// sessions: a startup option, or behind the pooler, which refuses those, the
// database's own default, its server connections ended so that the pooler
// opens new ones, which take it.
inline std::string withServerSetting(const std::string& name, const PgScratchStore& store,
                                     const std::string& key, const std::string& value) {
    if (poolerUrl().empty()) {
        return store.url + "%20-c%20" + key + "%3D" + value;
    }
    adminExecute("alter database \"" + name + "\" set " + key + " = " + value);
    adminExecute("select pg_terminate_backend(pid) from pg_stat_activity where datname = '" + name +
                 "'");
    return store.url;
}

inline std::string uniqueSchemaName() {
    std::random_device seed;
    std::mt19937_64 generator(seed());
    return "vt_" + std::to_string(generator() % 1000000000000ULL);
}

}  // namespace vorn::test

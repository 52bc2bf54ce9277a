#include "soak_store.h"

#include <sqlite3.h>

#include <cstdlib>

#include "test_backend.h"

#ifdef VORN_SOAK_POSTGRESQL
#include <libpq-fe.h>
#endif

namespace vorn::test::soak {
namespace {

const char* const kTable =
    "create table soak(unit varchar(40) not null, n integer not null, payload text, "
    "primary key(unit, n))";
std::string storedSql(const std::string& table) {
    return "select unit, count(*), max(n) from " + table + " group by unit";
}

class SqliteStore final : public RawStore {
  public:
    explicit SqliteStore(std::string file) : m_file(std::move(file)) {}

    std::string url() const override { return "sqlite:" + m_file; }

    bool create(std::string& problem) override {
        return run("pragma journal_mode=wal", problem) && run(kTable, problem);
    }

    bool stored(std::map<std::string, Stored>& units, std::string& problem) override {
        sqlite3* db = nullptr;
        sqlite3_stmt* stmt = nullptr;
        bool ok =
            sqlite3_open_v2(m_file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK &&
            sqlite3_prepare_v2(db, storedSql("soak").c_str(), -1, &stmt, nullptr) == SQLITE_OK;
        int rc = SQLITE_ROW;
        while (ok && (rc = sqlite3_step(stmt)) == SQLITE_ROW) {
            const auto* unit = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
            units[unit] = {sqlite3_column_int64(stmt, 1), sqlite3_column_int64(stmt, 2)};
        }
        ok = ok && rc == SQLITE_DONE;
        if (!ok) {
            problem = sqlite3_errmsg(db);
        }
        sqlite3_finalize(stmt);
        sqlite3_close(db);
        return ok;
    }

  private:
    bool run(const char* sql, std::string& problem) const {
        sqlite3* db = nullptr;
        bool ok = sqlite3_open(m_file.c_str(), &db) == SQLITE_OK &&
                  sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
        if (!ok) {
            problem = sqlite3_errmsg(db);
        }
        sqlite3_close(db);
        return ok;
    }

    std::string m_file;
};

#ifdef VORN_SOAK_POSTGRESQL
class PostgresStore final : public RawStore {
  public:
    explicit PostgresStore(std::string serverUrl)
        : m_server(std::move(serverUrl)), m_schema(uniqueSchemaName()) {}
    ~PostgresStore() override {
        std::string ignored;
        if (m_created) {
            run("drop schema " + m_schema + " cascade", ignored);
        }
    }

    std::string url() const override { return postgresUrlForSchema(m_schema); }

    bool create(std::string& problem) override {
        m_created = run("create schema " + m_schema, problem);
        return m_created && run("set search_path = " + m_schema + "; " + kTable, problem);
    }

    bool stored(std::map<std::string, Stored>& units, std::string& problem) override {
        PGconn* conn = PQconnectdb(m_server.c_str());
        PGresult* result = PQexec(conn, storedSql(m_schema + ".soak").c_str());
        const bool ok = PQresultStatus(result) == PGRES_TUPLES_OK;
        if (ok) {
            for (int row = 0; row < PQntuples(result); ++row) {
                units[PQgetvalue(result, row, 0)] = {std::atol(PQgetvalue(result, row, 1)),
                                                     std::atol(PQgetvalue(result, row, 2))};
            }
        } else {
            problem = PQerrorMessage(conn);
        }
        PQclear(result);
        PQfinish(conn);
        return ok;
    }

  private:
    bool run(const std::string& sql, std::string& problem) const {
        PGconn* conn = PQconnectdb(m_server.c_str());
        PGresult* result = PQexec(conn, sql.c_str());
        const bool ok = PQresultStatus(result) == PGRES_COMMAND_OK;
        if (!ok) {
            problem = PQerrorMessage(conn);
        }
        PQclear(result);
        PQfinish(conn);
        return ok;
    }

    std::string m_server;
    std::string m_schema;
    bool m_created = false;
};
#endif

}  // namespace

std::unique_ptr<RawStore> rawSqliteStore(const std::string& file) {
    return std::make_unique<SqliteStore>(file);
}

std::unique_ptr<RawStore> rawPostgresStore(const std::string& serverUrl) {
#ifdef VORN_SOAK_POSTGRESQL
    return std::make_unique<PostgresStore>(serverUrl);
#else
    (void)serverUrl;
    return nullptr;
#endif
}

}  // namespace vorn::test::soak

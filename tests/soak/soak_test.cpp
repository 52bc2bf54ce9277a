// Several processes of several threads each write units (single statements,
// transactions, batches, rolled-back transactions) into one store for a while,
// holding readers open across their writes, then the store's own client finds
// exactly the rows of the units that were committed: none lost, none partial,
// none of a unit rolled back or failed. No call may have returned busy or
// locked.
//
// The processes are forked before this process uses the library at all.
#include <gtest/gtest.h>

#include <chrono>
#include <iostream>
#include <map>

#include "child_process.h"
#include "raw_sqlite.h"
#include "scratch_dir.h"
#include "soak_worker.h"
#include "test_backend.h"

#ifdef VORN_SOAK_POSTGRESQL
#include <libpq-fe.h>
#endif

namespace vorn::test::soak {
namespace {

constexpr int kProcesses = 3;
constexpr int kThreads = 3;
constexpr std::chrono::seconds kDuration{20};
// A worker still running this long after its work should have ended is hung.
constexpr std::chrono::seconds kHangLimit{120};

using Rows = std::vector<std::vector<std::string>>;

// The soak table seen through the store's own client library (sqlite3,
// libpq), never through VORNLib: created before the workers start, read back
// after they have ended.
class RawStore {
  public:
    virtual ~RawStore() = default;
    // The URL the workers bind their session to.
    virtual std::string url() const = 0;
    // The rows of sql; {{"!" + error}} when it fails.
    virtual Rows run(const std::string& sql) = 0;

    // Creates the empty table soak(unit, n, payload), (unit, n) unique.
    Rows create() {
        return run(
            "create table soak(unit varchar(40) not null, n integer not null, payload text, "
            "primary key(unit, n))");
    }
};

class SqliteStore final : public RawStore {
  public:
    explicit SqliteStore(std::string file) : m_file(std::move(file)) {
        RawSqlite(m_file).run("pragma journal_mode=wal");
    }
    std::string url() const override { return "sqlite:" + m_file; }
    Rows run(const std::string& sql) override { return RawSqlite(m_file).rows(sql); }

  private:
    std::string m_file;
};

#ifdef VORN_SOAK_POSTGRESQL
// In a schema of its own on the server, dropped with the object.
class PostgresStore final : public RawStore {
  public:
    explicit PostgresStore(std::string server)
        : m_server(std::move(server)), m_schema(uniqueSchemaName()) {
        run("create schema " + m_schema);
    }
    ~PostgresStore() override { run("drop schema " + m_schema + " cascade"); }
    std::string url() const override { return postgresUrlForSchema(m_schema); }
    Rows run(const std::string& sql) override {
        PGconn* conn = PQconnectdb(m_server.c_str());
        PGresult* result = PQexec(conn, ("set search_path = " + m_schema + "; " + sql).c_str());
        Rows rows;
        for (int row = 0; row < PQntuples(result); ++row) {
            rows.emplace_back();
            for (int field = 0; field < PQnfields(result); ++field) {
                rows.back().emplace_back(PQgetvalue(result, row, field));
            }
        }
        const ExecStatusType status = PQresultStatus(result);
        if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) {
            rows = {{"!" + std::string(PQerrorMessage(conn))}};
        }
        PQclear(result);
        PQfinish(conn);
        return rows;
    }

  private:
    std::string m_server;
    std::string m_schema;
};
#endif

// What is stored under one unit key.
struct Stored {
    long rows = 0;
    long maxN = -1;  // the highest row number n
};

// Every unit a worker recorded is stored exactly as it expects, and nothing
// else is stored. Returns the rows checked.
long compare(const std::vector<Unit>& units, std::map<std::string, Stored> stored) {
    long rows = 0;
    for (const Unit& unit : units) {
        const auto found = stored.find(unit.key);
        if (unit.rows == 0) {
            EXPECT_EQ(found, stored.end()) << unit.key << " was rolled back or failed, yet stored";
        } else if (found == stored.end()) {
            ADD_FAILURE() << unit.key << " committed " << unit.rows << " rows, none stored";
        } else {
            EXPECT_EQ(found->second.rows, unit.rows) << unit.key;
            EXPECT_EQ(found->second.maxN, unit.rows - 1) << unit.key;
            rows += found->second.rows;
        }
        if (found != stored.end()) {
            stored.erase(found);
        }
    }
    for (const auto& [key, what] : stored) {
        ADD_FAILURE() << key << ": " << what.rows << " rows stored that no worker recorded";
    }
    return rows;
}

void soak(RawStore& store, const char* name) {
    ASSERT_EQ(store.create(), Rows{});
    ScratchDir records;
    std::vector<pid_t> children;
    for (int p = 0; p < kProcesses; ++p) {
        const std::string file = records.file("p" + std::to_string(p));
        children.push_back(
            spawn([&] { return runWorkerProcess(p, kThreads, store.url(), kDuration, file); }));
        ASSERT_GT(children.back(), 0);
    }
    // Each exit status (-1: ended abnormally, or still running at the hang
    // limit and killed).
    const auto limit = std::chrono::steady_clock::now() + kDuration + kHangLimit;
    std::vector<int> statuses;
    for (const pid_t child : children) {
        statuses.push_back(waitFor(child, limit - std::chrono::steady_clock::now()));
    }
    std::vector<Unit> units;
    Tally tally;
    for (int p = 0; p < kProcesses; ++p) {
        Tally one;
        std::vector<Unit> theirs;
        EXPECT_TRUE(readRecords(records.file("p" + std::to_string(p)), theirs, one))
            << "process " << p << " left no complete record (exit status " << statuses[p] << ")";
        units.insert(units.end(), theirs.begin(), theirs.end());
        tally += one;
    }
    std::map<std::string, Stored> stored;
    for (const auto& row : store.run("select unit, count(*), max(n) from soak group by unit")) {
        ASSERT_EQ(row.size(), 3u) << row.at(0);
        stored[row[0]] = {std::stol(row[1]), std::stol(row[2])};
    }
    const long rows = compare(units, stored);
    std::cout << "soak " << name << ": " << kProcesses << " processes x " << kThreads
              << " threads, " << tally.units << " units, " << rows << " rows checked, "
              << tally.reads << " reads (" << tally.heldReads << " held open across a write), "
              << tally.failures << " failed calls, " << tally.busyLocked << " busy/locked calls\n";
    EXPECT_EQ(tally.busyLocked, 0);
    EXPECT_EQ(tally.failures, 0);
    EXPECT_EQ(statuses, std::vector<int>(kProcesses, 0));
    EXPECT_GT(tally.units, 0);
}

TEST(SoakTest, Sqlite) {
    ScratchDir dir;
    SqliteStore store(dir.file("soak.db"));
    soak(store, "sqlite");
}

TEST(SoakTest, PostgreSql) {
    const std::string server = postgresUrl();
    if (server.empty()) {
        GTEST_SKIP() << kNoServer;
    }
#ifdef VORN_SOAK_POSTGRESQL
    PostgresStore store(server);
    soak(store, "postgresql");
#else
    GTEST_SKIP() << "this build has no PostgreSQL client";
#endif
}

}  // namespace
}  // namespace vorn::test::soak

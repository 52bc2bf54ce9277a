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

#include "child_process.h"
#include "scratch_dir.h"
#include "soak_store.h"
#include "soak_worker.h"
#include "test_backend.h"

namespace vorn::test::soak {
namespace {

constexpr int kProcesses = 3;
constexpr int kThreads = 3;
constexpr std::chrono::seconds kDuration{20};
// A worker still running this long after its work should have ended is hung.
constexpr std::chrono::seconds kHangLimit{120};

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
    std::string problem;
    ASSERT_TRUE(store.create(problem)) << problem;
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
    ASSERT_TRUE(store.stored(stored, problem)) << problem;
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
    soak(*rawSqliteStore(dir.file("soak.db")), "sqlite");
}

TEST(SoakTest, PostgreSql) {
    const std::string server = postgresUrl();
    if (server.empty()) {
        GTEST_SKIP() << kNoServer;
    }
    std::unique_ptr<RawStore> store = rawPostgresStore(server);
    if (!store) {
        GTEST_SKIP() << "this build has no PostgreSQL client";
    }
    soak(*store, "postgresql");
}

}  // namespace
}  // namespace vorn::test::soak

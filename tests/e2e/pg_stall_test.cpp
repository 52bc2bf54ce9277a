// PostgreSQL only: a server that stops answering without closing anything,
// whole (its processes stopped, as a storage stall or a stuck host stops
// them), or behind a proxy that stops forwarding (as a hung pooler does).
// Four threads write and read through it with a call timeout: every call
// comes back within its deadline and a second, with a time-out, an unknown
// outcome or a lost connection; afterwards every acknowledged unit is there,
// none that failed, and no unit in part.
#include <signal.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "store_fixture.h"
#include "tcp_proxy.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kCallTimeout{1000};
constexpr milliseconds kOvertime{1000};
constexpr milliseconds kFault{4000};

// The processes of the server as they are now: the postmaster (its data
// directory's postmaster.pid) and its children.
std::vector<pid_t> serverProcesses(const std::string& dataDirectory) {
    std::ifstream pidFile(dataDirectory + "/postmaster.pid");
    pid_t postmaster = 0;
    pidFile >> postmaster;
    std::vector<pid_t> pids{postmaster};
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream stat(entry.path() / "stat");
        std::string pid, name, state;
        pid_t parent = 0;
        if (stat >> pid >> name >> state >> parent && parent == postmaster) {
            pids.push_back(static_cast<pid_t>(std::stol(pid)));
        }
    }
    return pids;
}

// Stops the server's processes while it lives.
class FrozenServer {
  public:
    explicit FrozenServer(std::vector<pid_t> pids) : m_pids(std::move(pids)) { signal(SIGSTOP); }
    ~FrozenServer() { signal(SIGCONT); }
    FrozenServer(const FrozenServer&) = delete;
    FrozenServer& operator=(const FrozenServer&) = delete;

  private:
    void signal(int number) const {
        for (const pid_t pid : m_pids) {
            ::kill(pid, number);
        }
    }
    std::vector<pid_t> m_pids;
};

// One unit a thread tried: two rows written together, or a read.
struct Unit {
    long id = 0;  // the first of its two rows; 0 for a read
    unsigned long code = 0;
    ErrorCategory category = ErrorCategory::None;
    Clock::duration took{};  // of its longest call
};

// A call of the unit: its code and time are the unit's when it fails or
// takes longer than the calls before it.
template <typename Call>
bool step(Unit& unit, Call&& call) {
    const Clock::time_point start = Clock::now();
    const unsigned long code = call();
    unit.took = std::max(unit.took, Clock::now() - start);
    if (code != 0) {
        unit.code = code;
        unit.category = lastError().category;
    }
    return code == 0;
}

std::string insertSql(long id) {
    return "insert into t values (" + std::to_string(id) + ")";
}

// kind 0: a read; 1: both rows in one statement; 2: a row each in a transaction.
Unit runUnit(long kind, long id) {
    Unit unit;
    unit.id = kind == 0 ? 0 : id;
    if (kind == 0) {
        step(unit, [] {
            unsigned long code = 0;
            readRows(sqlText("select count(*) from t"), 1, &code);
            return code;
        });
    } else if (kind == 1) {
        step(unit, [&] {
            return runWrite("insert into t values (" + std::to_string(id) + "), (" +
                            std::to_string(id + 1) + ")");
        });
    } else {
        Database db;
        const bool done =
            step(unit, [&] { return db->beginTransaction(); }) &&
            step(unit, [&] { return db->execWriteSQL(sqlText(insertSql(id))); }) &&
            step(unit, [&] { return db->execWriteSQL(sqlText(insertSql(id + 1))); }) &&
            step(unit, [&] { return db->commitTransaction(); });
        if (!done) {
            Unit rollback;
            step(rollback, [&] { return db->rollbackTransaction(); });
            unit.took = std::max(unit.took, rollback.took);
        }
    }
    return unit;
}

class PgStallTest : public PgSchemaTest {
  protected:
    void SetUp() override {
        PgSchemaTest::SetUp();
        if (!IsSkipped() && !HasFatalFailure()) {
            ASSERT_TRUE(adminExecute("create table " + m_schema + ".t(id bigint primary key)"));
        }
    }

    // Binds "default" to url (the server's, or the proxy's) with the call timeout.
    void bindThrough(const std::string& url) {
        const std::string schemaUrl = withOptions(url, "options=-c%20search_path%3D" + m_schema);
        ASSERT_EQ(bindDataSource("default",
                                 withOptions(schemaUrl, "vorn_call_timeout=" +
                                                            std::to_string(kCallTimeout.count()))),
                  0u);
    }

    // Four threads write and read while fault() runs between two quiet spells.
    std::vector<Unit> workload(const std::function<void()>& fault) {
        std::atomic<bool> stop{false};
        std::mutex mutex;
        std::vector<Unit> units;
        std::vector<std::thread> threads;
        for (long thread = 1; thread <= 4; ++thread) {
            threads.emplace_back([&, thread] {
                for (long i = 0; !stop; ++i) {
                    const Unit unit = runUnit(i % 3, thread * 1000000 + i * 2);
                    std::lock_guard<std::mutex> lock(mutex);
                    units.push_back(unit);
                }
            });
        }
        std::this_thread::sleep_for(milliseconds(500));
        fault();
        std::this_thread::sleep_for(milliseconds(1500));
        stop = true;
        for (std::thread& t : threads) {
            t.join();
        }
        return units;
    }

    // Every call came back in time with a fault's category; every
    // acknowledged unit is there, no failed one, none in part.
    void expectEveryUnitAccountedFor(const std::vector<Unit>& units) {
        std::set<long> stored;
        for (const auto& row : runQuery("select id from " + m_schema + ".t", 1)) {
            stored.insert(std::stol(row[0]));
        }
        int failed = 0;
        std::map<std::string, int> byCategory;
        Clock::duration longest{};
        for (const Unit& unit : units) {
            ++byCategory[toString(unit.category)];
            longest = std::max(longest, unit.took);
            EXPECT_LT(unit.took, kCallTimeout + kOvertime)
                << unit.id << " " << toString(unit.category);
            if (unit.code != 0) {
                ++failed;
                EXPECT_TRUE(unit.category == ErrorCategory::Timeout ||
                            unit.category == ErrorCategory::InDoubt ||
                            unit.category == ErrorCategory::ConnectionLost)
                    << toString(unit.category);
            }
            if (unit.id == 0) {
                continue;
            }
            const bool first = stored.count(unit.id) != 0;
            EXPECT_EQ(first, stored.count(unit.id + 1) != 0) << "unit " << unit.id << " in part";
            if (unit.code == 0) {
                EXPECT_TRUE(first) << "acknowledged unit " << unit.id << " missing";
            } else if (unit.category != ErrorCategory::InDoubt) {
                EXPECT_FALSE(first) << "failed unit " << unit.id << " stored";
            }
        }
        EXPECT_GT(failed, 0) << "the fault reached no call";
        std::cout << units.size() << " units, longest call "
                  << std::chrono::duration_cast<milliseconds>(longest).count() << " ms:";
        for (const auto& [category, count] : byCategory) {
            std::cout << " " << category << " " << count;
        }
        std::cout << "\n";
        EXPECT_EQ(runWrite("insert into t values (1)"), 0u) << "the session is not usable again";
    }
};

TEST_F(PgStallTest, AStoppedServerHoldsNoCallBeyondItsDeadline) {
    bindThrough(postgresUrl());
    const Rows directory =
        runQuery("select setting from pg_settings where name = 'data_directory'", 1);
    ASSERT_EQ(directory.size(), 1u);
    expectEveryUnitAccountedFor(workload([&] {
        const FrozenServer frozen(serverProcesses(directory[0][0]));
        std::this_thread::sleep_for(kFault);
    }));
}

TEST_F(PgStallTest, AProxyThatStopsForwardingHoldsNoCallBeyondItsDeadline) {
    const std::string url = postgresUrl();
    TcpProxy proxy(urlPort(url));
    ASSERT_NE(proxy.port(), 0);
    bindThrough(withPort(url, proxy.port()));
    expectEveryUnitAccountedFor(workload([&] {
        proxy.stall(true);
        std::this_thread::sleep_for(kFault);
        proxy.stall(false);
    }));
}

}  // namespace
}  // namespace vorn::test

// Units stay whole on every store: a transaction the store ended on its own
// fails every later call until it is rolled back; vorn::Transaction ends what
// it began; vorn::runTransaction runs a unit again exactly when nothing of it
// can have been committed, and never after a COMMIT of unknown outcome.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "child_process.h"
#include "store_fixture.h"
#include "tcp_proxy.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

using std::chrono::milliseconds;

// Retries enough for the contention tests: each unit must end committed.
const RetryPolicy kPatient{100, milliseconds(1), milliseconds(50)};

std::uint64_t retries() {
    std::uint64_t count = 0;
    for (const StatementStatistics& row : statistics()) {
        count += row.kind == StatementKind::Retry ? row.calls : 0;
    }
    return count;
}

long counter() {
    const Rows rows = runQuery("select n from counter", 1);
    return rows.size() == 1 ? std::stol(rows[0][0]) : -1;
}

unsigned long increment(CVORN& db) {
    CVORNReader reader;
    if (const unsigned long code = db.execReadSQL(sqlText("select n from counter"), reader)) {
        return code;
    }
    long n = 0;
    reader >> n;
    reader.clear();
    return db.execWriteSQL(sqlText("update counter set n = " + std::to_string(n + 1)));
}

// Makes every write that grows a file beyond a megabyte fail (EFBIG), as a
// full disk would, while it lives.
class FullDisk {
  public:
    FullDisk() {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_saved);
        rlimit small = m_saved;
        small.rlim_cur = 1 << 20;
        ::setrlimit(RLIMIT_FSIZE, &small);
    }
    ~FullDisk() { ::setrlimit(RLIMIT_FSIZE, &m_saved); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

  private:
    rlimit m_saved{};
};

class UnitOfWorkTest : public StoreTest {
  protected:
    void prepare() override {
        seedKept();
        ASSERT_EQ(runWrite("create table counter(n integer)"), 0u);
        ASSERT_EQ(runWrite("insert into counter values (0)"), 0u);
        resetStatistics();
    }

    // Ends the transaction open on this thread's "default" connection the
    // way the store does on its own: SQLite rolls it back when a write meets
    // a full disk; PostgreSQL when its connection is terminated.
    static void loseTheTransaction() {
        if (onPostgres()) {
            const Rows pid = runQuery("select pg_backend_pid()", 1);
            ASSERT_EQ(pid.size(), 1u);
            ASSERT_TRUE(adminExecute("select pg_terminate_backend(" + pid[0][0] + ")"));
            EXPECT_NE(runWrite("insert into kept values (5, 'met the loss')"), 0u);
            return;
        }
        const FullDisk full;
        EXPECT_NE(runWrite("insert into kept select 100 + x, randomblob(100000) from (with "
                           "recursive c(x) as (select 1 union all select x + 1 from c where x < "
                           "100) select x from c)"),
                  0u);
    }
};

// Nothing of a unit the store ended is committed: every later call of the
// session fails, naming the lost transaction, until the caller ends it.
TEST_F(UnitOfWorkTest, ATransactionTheStoreEndedFailsEveryCallUntilItEnds) {
    for (const bool commit : {true, false}) {
        SCOPED_TRACE(commit ? "ended by a commit" : "ended by a rollback");
        Database db;
        ASSERT_EQ(db->beginTransaction(), 0u);
        ASSERT_EQ(runWrite("insert into kept values (4, 'first of the unit')"), 0u);
        loseTheTransaction();

        const unsigned long code = runWrite("insert into kept values (6, 'after the loss')");
        EXPECT_TRUE(code == platform::errc::kTransactionRolledBack ||
                    code == platform::errc::kTransactionAborted)
            << code;
        EXPECT_NE(lastError().message.find("was lost"), std::string::npos) << lastError().message;
        unsigned long readCode = 0;
        readRows(sqlText("select id from kept"), 1, &readCode);
        EXPECT_EQ(readCode, code);
        EXPECT_EQ(commit ? db->commitTransaction() : db->rollbackTransaction(), commit ? code : 0u);

        EXPECT_EQ(keptRows(), seededKept());
    }
    EXPECT_EQ(runWrite("insert into kept values (7, 'a new unit')"), 0u);
}

TEST_F(UnitOfWorkTest, TheScopeRollsBackWhatWasNeitherCommittedNorRolledBack) {
    Database db;
    {
        Transaction tx(*db.db);
        ASSERT_EQ(tx.begun(), 0u);
        ASSERT_EQ(runWrite("insert into kept values (4, 'left')"), 0u);
        Transaction moved(std::move(tx));
        EXPECT_FALSE(tx.active());  // NOLINT(bugprone-use-after-move): what a move leaves
        EXPECT_TRUE(moved.active());
    }
    EXPECT_EQ(keptRows(), seededKept());
    Transaction tx(*db.db, Isolation::Serializable);
    ASSERT_EQ(tx.begun(), 0u);
    ASSERT_EQ(runWrite("insert into kept values (4, 'kept')"), 0u);
    EXPECT_EQ(tx.commit(), 0u);
    EXPECT_EQ(tx.commit(), 1u) << "nothing left to commit";
    EXPECT_EQ(tx.rollback(), 0u);
    EXPECT_EQ(keptRows().size(), 4u);
}

// The isolation level is the caller's, whether asked of the scope or set by
// the transaction's first statement (never run inside a savepoint).
TEST_F(UnitOfWorkTest, TheIsolationLevelIsTheCallers) {
    Database db;
    if (!onPostgres()) {
        Transaction tx(*db.db, Isolation::ReadCommitted);
        EXPECT_EQ(tx.begun(), 0u) << "SQLite runs every level as serializable";
        return;
    }
    const struct {
        Isolation level;
        const char* shown;
    } levels[] = {{Isolation::ReadCommitted, "read committed"},
                  {Isolation::RepeatableRead, "repeatable read"},
                  {Isolation::Serializable, "serializable"}};
    for (const auto& level : levels) {
        Transaction tx(*db.db, level.level);
        ASSERT_EQ(tx.begun(), 0u);
        EXPECT_EQ(runQuery("show transaction_isolation", 1), Rows{{level.shown}});
    }
    ASSERT_EQ(db->beginTransaction(), 0u);
    EXPECT_EQ(runWrite("set transaction isolation level serializable"), 0u) << lastError().message;
    EXPECT_EQ(runWrite("set local lock_timeout = '2s'"), 0u) << lastError().message;
    EXPECT_EQ(runQuery("show transaction_isolation", 1), Rows{{"serializable"}});
    EXPECT_EQ(db->commitTransaction(), 0u);
}

TEST_F(UnitOfWorkTest, TheRunnerCommitsRollsBackAndPassesExceptionsOn) {
    Database db;
    int runs = 0;
    EXPECT_EQ(runTransaction(*db.db,
                             [&](CVORN& d) {
                                 ++runs;
                                 return d.execWriteSQL(sqlText("insert into kept values (4, 'x')"));
                             }),
              0u);
    const unsigned long failed = runTransaction(*db.db, [&](CVORN& d) {
        ++runs;
        EXPECT_EQ(d.execWriteSQL(sqlText("insert into kept values (5, 'y')")), 0u);
        return d.execWriteSQL(sqlText("insert into kept values (1, 'duplicate')"));
    });
    EXPECT_EQ(lastError().category, ErrorCategory::Constraint) << failed;
    EXPECT_THROW(runTransaction(*db.db,
                                [&](CVORN& d) -> unsigned long {
                                    ++runs;
                                    d.execWriteSQL(sqlText("insert into kept values (6, 'z')"));
                                    throw std::runtime_error("the caller's own failure");
                                }),
                 std::runtime_error);
    EXPECT_EQ(runs, 3) << "none of these is run again";
    EXPECT_EQ(keptRows().size(), 4u);
    EXPECT_EQ(retries(), 0u);
}

// Workers increment one counter in serializable transactions: 8 threads on
// PostgreSQL, 4 processes on one SQLite file (threads under ThreadSanitizer,
// which cannot follow a child of fork()). Every acknowledged increment is
// counted once, and no other.
TEST_F(UnitOfWorkTest, ContendedIncrementsAreEachAcknowledgedExactlyOnce) {
    const int kWorkers = onPostgres() ? 8 : 4;
    constexpr int kEach = 25;
    auto work = [] {
        Database db;
        int acknowledged = 0;
        for (int i = 0; i < kEach; ++i) {
            acknowledged +=
                runTransaction(*db.db, increment, kPatient, Isolation::Serializable) == 0 ? 1 : 0;
        }
        return acknowledged;
    };
    int acknowledged = 0;
    if (onPostgres() || kThreadSanitizer) {
        std::atomic<int> total{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < kWorkers; ++t) {
            threads.emplace_back([&] { total += work(); });
        }
        for (std::thread& t : threads) {
            t.join();
        }
        acknowledged = total;
        if (onPostgres()) {
            EXPECT_GT(retries(), 0u) << "no serialization failure was met";
            std::cout << retries() << " runs again after serialization failures\n";
        }
    } else {
        closeAllConnections();  // a child must not share the parent's connections
        std::vector<pid_t> children;
        for (int p = 0; p < kWorkers; ++p) {
            children.push_back(spawn(work));
        }
        for (const pid_t child : children) {
            acknowledged += waitFor(child, std::chrono::seconds(60));
        }
    }
    EXPECT_EQ(acknowledged, kWorkers * kEach);
    EXPECT_EQ(counter(), acknowledged);
    std::cout << kWorkers << (onPostgres() ? " threads: " : " processes: ") << acknowledged
              << " increments acknowledged, counter " << counter() << "\n";
}

// Two units lock two rows in opposite orders: the store breaks the deadlock,
// and the runner runs the victim again.
TEST_F(UnitOfWorkTest, DeadlockedUnitsAllComplete) {
    std::atomic<int> firstLocks{0};
    auto unit = [&](long first, long second) {
        return [&, first, second](CVORN& db) {
            const std::string set = "update kept set name = name || '+' where id = ";
            if (const unsigned long code = db.execWriteSQL(sqlText(set + std::to_string(first)))) {
                return code;
            }
            ++firstLocks;
            for (int wait = 0; firstLocks < 2 && wait < 50; ++wait) {
                std::this_thread::sleep_for(milliseconds(10));
            }
            return db.execWriteSQL(sqlText(set + std::to_string(second)));
        };
    };
    unsigned long codes[2] = {1, 1};
    std::thread other([&] { codes[1] = runTransaction(*Database().db, unit(2, 1), kPatient); });
    codes[0] = runTransaction(*Database().db, unit(1, 2), kPatient);
    other.join();
    EXPECT_EQ(codes[0], 0u);
    EXPECT_EQ(codes[1], 0u);
    std::cout << retries() << " runs again after a deadlock\n";
    EXPECT_EQ(runQuery("select name from kept where id < 3 order by id", 1),
              (Rows{{"a++"}, {"b++"}}));
}

// PostgreSQL ends the transaction of a terminated connection: the commit
// fails with the server's answer, and the unit runs again.
TEST_F(UnitOfWorkTest, AConnectionTerminatedBeforeTheCommitIsRunAgain) {
    if (!onPostgres() || !poolerUrl().empty()) {
        GTEST_SKIP() << (onPostgres() ? "terminates a server connection, which a pooler hides"
                                      : "a server ends the connection: PostgreSQL only");
    }
    std::vector<unsigned long> retried;  // the codes that made a run again
    setStatementObserver([&](const StatementEvent& event) {
        if (event.kind == StatementKind::Retry) {
            retried.push_back(event.code);
        }
    });
    Database db;
    int runs = 0;
    const unsigned long code = runTransaction(*db.db, [&](CVORN& d) {
        const unsigned long inserted = d.execWriteSQL(sqlText("insert into kept values (4, 'x')"));
        if (inserted == 0 && ++runs == 1) {
            const Rows pid = runQuery("select pg_backend_pid()", 1);
            // Waits until the server process has gone, so the COMMIT meets it gone.
            EXPECT_TRUE(adminExecute("select pg_terminate_backend(" + pid.at(0).at(0) + ", 5000)"));
        }
        return inserted;
    });
    EXPECT_EQ(code, 0u) << lastError().message;
    setStatementObserver(nullptr);
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(retries(), 1u);
    ASSERT_EQ(retried.size(), 1u);
    EXPECT_EQ(platform::sqlstateFromCode(retried[0]), "57P01");
    EXPECT_EQ(keptRows().size(), 4u);
}

// A connection cut right after the COMMIT went out: the unit may have been
// committed, so the runner reports it in doubt and never runs it again.
TEST_F(UnitOfWorkTest, ACommitCutOffAfterItWentOutIsInDoubtAndNotRunAgain) {
    if (!onPostgres() || !poolerUrl().empty()) {
        GTEST_SKIP() << (onPostgres() ? "puts a proxy of its own before the server, not the pooler"
                                      : "a connection cut after its COMMIT: PostgreSQL only");
    }
    const std::string url = m_stores.at("default").url;
    TcpProxy proxy(urlPort(url));
    ASSERT_NE(proxy.port(), 0);
    ASSERT_EQ(bindDataSource("default", withPort(url, proxy.port())), 0u);
    Database db;
    int runs = 0;
    const unsigned long code = runTransaction(*db.db, [&](CVORN& d) {
        ++runs;
        proxy.cutAfter("COMMIT");
        return d.execWriteSQL(sqlText("insert into kept values (4, 'x')"));
    });
    const ErrorInfo error = lastError();
    ASSERT_TRUE(proxy.cut());
    EXPECT_EQ(error.category, ErrorCategory::InDoubt) << error.message;
    EXPECT_EQ(error.code, code);
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(retries(), 0u);
    ASSERT_EQ(bindDataSource("default", url), 0u);
    std::cout << "the unit in doubt was " << (keptRows().size() == 4 ? "" : "not ")
              << "committed\n";
}

}  // namespace
}  // namespace vorn::test

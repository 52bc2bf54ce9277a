// What only the SQLite backend does: its URL options, its files, its quoting
// and field bytes, and many writers on one file.
#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "child_process.h"
#include "dal_fixture.h"
#include "vorn/connections.h"

namespace vorn::test {
namespace {

using namespace std::string_literals;

TEST_F(SqliteTest, FieldsKeepTheirBytesAndSqliteQuotingIsKnown) {
    EXPECT_EQ(query(m_session, "select 'a\xFF', x'00410042', 1 as [a;b], 2 as `c;d`"),
              (Rows{{"a\xFF", "\0A\0B"s, "1", "2"}}));
}

// Values SQLite holds as INTEGER or REAL reach a target flagged for numbers
// as those numbers; texts, blobs and NULL as their bytes.
TEST_F(SqliteTest, IntegersAndRealsComeAsNumbersToATargetThatTakesThem) {
    using Kind = platform::FieldValue::Kind;
    const Row row =
        firstRowAsNumbers(m_session, "select -9223372036854775808, 2.5, '7', x'41', NULL");
    ASSERT_EQ(row.size(), 5U);
    EXPECT_EQ(row[0].kind(), Kind::Integer);
    EXPECT_EQ(row[0].integer(), INT64_MIN);
    EXPECT_EQ(row[1].kind(), Kind::Real);
    EXPECT_EQ(row[1].real(), 2.5);
    for (std::size_t i = 2; i < row.size(); ++i) {
        EXPECT_EQ(row[i].kind(), Kind::Text) << i;
    }
    EXPECT_EQ(row[2].str(), "7");
    EXPECT_EQ(row[3].str(), "A");
    EXPECT_EQ(row[4].str(), "");
}

TEST_F(SqliteTest, UrlOptionsApplyAndMalformedOnesAreRefused) {
    seed();
    const std::string options =
        "?busy_timeout=100&journal_mode=delete&synchronous=normal"
        "&vorn_call_timeout=60000&VORN_MAX_CONNECTIONS=2";
    ASSERT_EQ(bindDataSource("x.options", "sqlite:" + m_dir.file("other.db") + options), 0U);
    EXPECT_EQ(query("x.options", "pragma journal_mode"), (Rows{{"delete"}}));
    EXPECT_EQ(query("x.options", "pragma synchronous"), (Rows{{"1"}}));
    EXPECT_EQ(query(m_session, "pragma journal_mode"), (Rows{{"wal"}}));
    unbindDataSource("x.options");

    const struct {
        std::string url;
        const char* problem;
    } malformed[] = {
        {"sqlite:", "needs a file path"},
        {"sqlite://db1/x.db", "not a host"},
        {m_url + "?mode=rx", "mode must be"},
        {m_url + "?busy_timeout=-1", "busy_timeout"},
        {m_url + "?password=s3cret", "unknown option \"password\""},
        {m_url + "?mode", "has no value"},
        {m_url + "?vorn_call_timeout=0", "vorn_call_timeout must be"},
        {m_url + "?vorn_call_timeout=5s", "vorn_call_timeout must be"},
        {m_url + "?vorn_max_connections=0", "vorn_max_connections must be a number from 1"},
        {m_url + "?vorn_max_connections=4x", "vorn_max_connections must be a number from 1"},
    };
    for (const auto& c : malformed) {
        EXPECT_EQ(bindDataSource("x.bad", c.url), errc::kDataSourceInvalid) << c.url;
        const std::string detail = detailOf(run("x.bad", "delete from t"));
        EXPECT_NE(detail.find(c.problem), std::string::npos) << detail;
        EXPECT_EQ(detail.find("s3cret"), std::string::npos) << detail;
    }
    unbindDataSource("x.bad");
    EXPECT_EQ(all(), seededRows());
}

// Read-only files: fault_test.cpp.
TEST_F(SqliteTest, UnopenableFilesReturnStoreCodes) {
    seed();
    std::ofstream(m_dir.file("plain")) << "not a directory";
    const struct {
        std::string url;
        std::uint64_t code;
    } unopenable[] = {
        {"sqlite:" + m_dir.file("plain") + "/x.db", 14},  // SQLITE_CANTOPEN
        {"sqlite:" + m_dir.file("missing.db") + "?mode=rw", 14},
        {"sqlite:" + m_dir.file("plain"), 26},  // SQLITE_NOTADB
    };
    for (const auto& c : unopenable) {
        ASSERT_EQ(bindDataSource("x.cantopen", c.url), 0U);
        for (int attempt = 0; attempt < 2; ++attempt) {  // each call tries again
            const ExecResult status = run("x.cantopen", "create table t(v)");
            EXPECT_EQ(status.errorCode(), c.code) << c.url;
            EXPECT_FALSE(detailOf(status).empty());
        }
    }
    unbindDataSource("x.cantopen");
    EXPECT_FALSE(std::filesystem::exists(m_dir.file("missing.db")));
    EXPECT_EQ(all(), seededRows());
}

// A reader left open (first row read) does not make the same thread's next
// write fail, though another connection committed in between; reads outside a
// transaction see what the thread committed, reads inside see its writes.
TEST_F(SqliteTest, AnOpenReaderLeavesTheThreadsWritesWorking) {
    seed();
    std::vector<std::string> names{"x"};
    Params params;
    params.add("name", names);
    const std::string insert = "insert into t(name) values('mine')";
    const struct {
        const char* name;
        std::function<std::uint64_t()> write;
    } writes[] = {
        {"Autocommit", [&] { return run(m_session, insert).errorCode(); }},
        {"Batch",
         [&] {
             names[0] = "mine";
             return batch(m_session, "insert into t(name) values({name})", params.ref())
                 .errorCode();
         }},
        {"Transaction",
         [&] {
             DataSession s(m_session.c_str());
             std::uint64_t code = s.beginTransaction().errorCode();
             code = code != 0 ? code : run(m_session, insert).errorCode();
             EXPECT_EQ(query(m_session, "select count(*) from t where name = 'mine'"),
                       (Rows{{"1"}}));  // the transaction's own write, uncommitted
             return code != 0 ? code : s.commit().errorCode();
         }},
    };
    for (const auto& w : writes) {
        const Rows before = all();
        DataSession reader(m_session.c_str());
        open(reader, "select id from t order by id");
        Row row;
        ExecResult status;
        ASSERT_TRUE(reader.fetchRow(status, rowTarget(row), 1)) << w.name;
        queryElsewhere(m_session, "select 1");  // let the other thread's connection exist
        std::thread([&] {
            EXPECT_TRUE(run(m_session, "insert into t(name) values('other')").ok());
        }).join();
        EXPECT_EQ(w.write(), 0U) << w.name;
        EXPECT_EQ(query(m_session, "select count(*) from t where name = 'mine'"), (Rows{{"1"}}))
            << w.name;
        EXPECT_EQ(fetchAll(reader).size() + 1, before.size()) << w.name;  // its own snapshot
        EXPECT_EQ(all().size(), before.size() + 2) << w.name;
        ASSERT_TRUE(run(m_session, "delete from t where name = 'mine'").ok());
    }
    EXPECT_EQ(queryElsewhere(m_session, "select count(*) from t where name = 'other'"),
              (Rows{{"3"}}));
}

// Temporary tables live on the thread's own connection only, and shadow the
// file's tables of the same name; reads find them, open reader or not.
TEST_F(SqliteTest, ReadsSeeTheConnectionsTemporaryTables) {
    seed();
    DataSession reader(m_session.c_str());
    open(reader, "select id from t");
    ASSERT_TRUE(run(m_session, "create temp table t(id integer, name text)").ok());
    ASSERT_TRUE(run(m_session, "insert into temp.t values(9, 'temp')").ok());
    EXPECT_EQ(all(), (Rows{{"9", "temp"}}));
    EXPECT_EQ(fetchAll(reader), (Rows{{"1"}, {"2"}}));
    EXPECT_EQ(queryElsewhere(m_session, "select * from t order by 1"), seededRows());
}

// A reader opened outside a transaction reads on a handle of its own, so a
// schema change of the same thread goes through; inside a transaction the
// reader shares the transaction's handle, where SQLite refuses to drop a table
// under an unfinished read (SQLITE_LOCKED).
TEST_F(SqliteTest, DropTableUnderAnOpenReader) {
    seed();
    ASSERT_TRUE(run(m_session, "create table u(v)").ok());
    {
        DataSession s(m_session.c_str());
        ASSERT_TRUE(s.beginTransaction().ok());
        DataSession reader(m_session.c_str());
        open(reader, "select id from t");
        EXPECT_EQ(run(m_session, "drop table u").errorCode(), 6U);  // SQLITE_LOCKED
        EXPECT_EQ(fetchAll(reader), (Rows{{"1"}, {"2"}}));
        EXPECT_TRUE(run(m_session, "drop table u").ok());
        ASSERT_TRUE(s.rollback().ok());
    }
    DataSession reader(m_session.c_str());
    open(reader, "select id from t");
    EXPECT_TRUE(run(m_session, "drop table u").ok());
    EXPECT_TRUE(run(m_session, "drop table t").ok());
    EXPECT_EQ(fetchAll(reader), (Rows{{"1"}, {"2"}}));  // the snapshot it started from
    EXPECT_EQ(run(m_session, "select * from t").errorCode(), 1U);
}

// A write waits while another connection holds the file's write lock, and
// goes through once the lock is free; with busy_timeout=0 it fails at once
// with SQLITE_BUSY and writes nothing.
TEST_F(SqliteTest, WritesWaitForALockHeldElsewhereUpToTheBusyTimeout) {
    seed();
    ASSERT_EQ(bindDataSource("x.nowait", m_url + "?busy_timeout=0"), 0U);
    sqlite3* holder = nullptr;
    ASSERT_EQ(sqlite3_open(m_dir.file("store.db").c_str(), &holder), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(holder, "begin immediate", nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_EQ(run("x.nowait", "insert into t values(3, 'x')").errorCode(), 5U);  // SQLITE_BUSY
    std::thread release([holder] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        sqlite3_exec(holder, "commit", nullptr, nullptr, nullptr);
    });
    const ExecResult waited = run(m_session, "insert into t values(4, 'waited')");
    release.join();
    sqlite3_close(holder);
    EXPECT_TRUE(waited.ok()) << detailOf(waited);
    unbindDataSource("x.nowait");
    EXPECT_EQ(queryElsewhere(m_session, "select * from t order by id"),
              (Rows{{"1", "one"}, {"2", "two"}, {"4", "waited"}}));
}

// Writes 1000 rows into a new table t, and reads them through every kind of
// read: on a read handle, with a bound statement kept there, inside a
// transaction. Returns 0, or the step that failed.
int writeAndRead(const std::string& session) {
    if (!run(session, "create table t(id integer primary key, name text)").ok() ||
        !run(session, "insert into t(id) " + series(1000)).ok()) {
        return 1;
    }
    if (query(session, "select count(*) from t") != Rows{{"1000"}}) {
        return 2;
    }
    DataSession bound(session.c_str());
    const platform::BoundParameters id{{"id", std::int64_t{7}}};
    if (!bound.execute("r", SqlKind::Read, "select id from t where id = {id}", id).ok() ||
        fetchAll(bound) != Rows{{"7"}}) {
        return 3;
    }
    DataSession transaction(session.c_str());
    return transaction.beginTransaction().ok() && query(session, "select 1") == Rows{{"1"}} &&
                   transaction.commit().ok()
               ? 0
               : 4;
}

// When the last connection to a file closes, the write-ahead log is folded
// back into the database file and removed: a copy of the .db file alone holds
// every row. The connections close when their thread ends, on
// closeAllConnections(), and at the process's exit, also those of a thread
// still running then.
TEST_F(SqliteTest, TheLastConnectionLeavesEveryRowInTheDatabaseFileAlone) {
    const struct {
        const char* name;
        bool forks;
        std::function<int(const std::string& session)> run;  // 0 once the work is done
    } cases[] = {
        {"ThreadEnds", false,
         [](const std::string& session) {
             int failed = -1;
             std::thread([&] { failed = writeAndRead(session); }).join();
             return failed;
         }},
        {"CloseAllConnections", true,
         [](const std::string& session) {
             return waitFor(spawn([&] {
                                const int failed = writeAndRead(session);
                                closeAllConnections();
                                return failed;
                            }),
                            std::chrono::minutes(1));
         }},
        {"Exit", true,
         [](const std::string& session) {
             return waitFor(spawn([&]() -> int { std::exit(writeAndRead(session)); }),
                            std::chrono::minutes(1));
         }},
        {"ExitWithTheThreadRunning", true,
         [](const std::string& session) {
             return waitFor(spawn([&]() -> int {
                                std::atomic<int> failed{-1};
                                std::thread([&] {
                                    failed = writeAndRead(session);
                                    for (;;) {
                                        std::this_thread::sleep_for(std::chrono::hours(1));
                                    }
                                }).detach();
                                while (failed < 0) {
                                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                                }
                                std::exit(failed);
                            }),
                            std::chrono::minutes(1));
         }},
    };
    for (const auto& c : cases) {
        if (c.forks && kThreadSanitizer) {
            continue;
        }
        SCOPED_TRACE(c.name);
        const std::string path = m_dir.file(c.name + ".db"s);
        const std::string session = "x."s + c.name;
        ASSERT_EQ(bindDataSource(session, "sqlite:" + path), 0U);
        std::fflush(nullptr);  // nothing buffered is written twice by a child's exit
        ASSERT_EQ(c.run(session), 0);
        EXPECT_FALSE(std::filesystem::exists(path + "-wal"));
        EXPECT_FALSE(std::filesystem::exists(path + "-shm"));
        std::filesystem::copy_file(path, path + ".copy");
        EXPECT_EQ(rawRows(path + ".copy", "select count(*) from t"), (Rows{{"1000"}}));
        unbindDataSource(session);
    }
}

}  // namespace
}  // namespace vorn::test

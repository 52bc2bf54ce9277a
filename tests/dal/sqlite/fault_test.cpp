// SQLite files that cannot take a write: full, read-only, in a read-only
// directory. Every call gets the store's code, and what was stored before
// stays intact and readable. And files deleted or replaced under an open
// connection: no write is acknowledged into the file that is gone.
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

#include "child_process.h"
#include "dal_fixture.h"

namespace vorn::test {
namespace {

using namespace std::string_literals;

constexpr std::uint64_t kFull = 13;     // SQLITE_FULL
constexpr std::uint64_t kReadOnly = 8;  // SQLITE_READONLY; extended codes keep it in the low byte

// The writes of every kind a caller makes, each expected to be refused.
struct Write {
    const char* name;
    std::function<ExecResult(const std::string& session)> run;
};

// A batch of params' rows into t(name), alone and inside a transaction.
std::vector<Write> batchWrites(Params& params) {
    return {
        {"Batch",
         [&](const std::string& s) {
             return batch(s, "insert into t(name) values({name})", params.ref());
         }},
        {"Transaction",
         [&](const std::string& s) {
             DataSession session(s.c_str());
             ExecResult status = session.beginTransaction();
             if (status.ok()) {
                 status = batch(s, "insert into t(name) values({name})", params.ref());
             }
             static_cast<void>(session.rollback());  // SQLite may have rolled back already
             return status;
         }},
    };
}

std::vector<Write> refusedWrites(Params& params) {
    std::vector<Write> writes = batchWrites(params);
    writes.push_back(
        {"Insert", [](const std::string& s) { return run(s, "insert into t values(3, 'x')"); }});
    writes.push_back(
        {"CreateTable", [](const std::string& s) { return run(s, "create table u(v)"); }});
    return writes;
}

// The uid and gid that file modes apply to when the tests run as root.
constexpr uid_t kNobody = 65534;

// File modes do not bind root: there the test runs again, in a child process
// as an unprivileged user. Returns the child's exit status (kNoUser when it
// could not become that user).
constexpr int kNoUser = 77;

int rerunUnprivileged() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string filter =
        std::string("--gtest_filter=") + info->test_suite_name() + "." + info->name();
    const pid_t child = spawn([&filter] {
        char* argv[] = {const_cast<char*>("test"), const_cast<char*>(filter.c_str()), nullptr};
        if (::setgid(kNobody) == 0 && ::setuid(kNobody) == 0) {
            ::execv("/proc/self/exe", argv);
        }
        return kNoUser;
    });
    return child < 0 ? -1 : waitFor(child, std::chrono::minutes(5));
}

// A database that may not grow refuses every write with SQLITE_FULL; a batch
// that meets the limit after some of its rows leaves none of them.
TEST_F(SqliteTest, AFullDatabaseRefusesWritesAndKeepsItsRows) {
    seed();
    // A few pages more than there are: a batch's first rows fit, the rest
    // not. The limit belongs to the connection, i.e. to this thread's writes.
    const Rows pages = query(m_session, "pragma page_count");
    const int limit = std::stoi(pages.at(0).at(0)) + 3;
    ASSERT_TRUE(run(m_session, "pragma max_page_count = " + std::to_string(limit)).ok());
    std::vector<std::string> texts(20, std::string(2000, 'z'));
    Params params;
    params.add("name", texts);
    std::vector<Write> writes = batchWrites(params);
    writes.push_back({"LargeInsert", [](const std::string& s) {
                          return run(s, "insert into t values(3, zeroblob(100000))");
                      }});
    for (const Write& w : writes) {
        const ExecResult status = w.run(m_session);
        EXPECT_EQ(status.errorCode(), kFull) << w.name;
        EXPECT_EQ(detailOf(status), "database or disk is full") << w.name;
    }
    EXPECT_EQ(query(m_session, "select * from t where id <= 2 order by id"), seededRows());
    EXPECT_EQ(query(m_session, "select count(*) from t where length(name) > 100"), (Rows{{"0"}}));
    EXPECT_EQ(queryElsewhere(m_session, "select * from t where id <= 2 order by id"), seededRows());
}

TEST_F(SqliteTest, AReadOnlyUrlRefusesEveryWrite) {
    seed();
    ASSERT_EQ(bindDataSource("x.ro", m_url + "?mode=ro"), 0U);
    std::vector<std::string> texts{"a", "b"};
    Params params;
    params.add("name", texts);
    for (const Write& w : refusedWrites(params)) {
        const ExecResult status = w.run("x.ro");
        EXPECT_EQ(status.errorCode(), kReadOnly) << w.name;
        EXPECT_EQ(detailOf(status), "attempt to write a readonly database") << w.name;
        EXPECT_EQ(query("x.ro", "select * from t order by id"), seededRows()) << w.name;
    }
    unbindDataSource("x.ro");
    EXPECT_EQ(all(), seededRows());
}

TEST_F(SqliteTest, AReadOnlyFileOrDirectoryRefusesEveryWrite) {
    if (::geteuid() == 0) {
        const int status = rerunUnprivileged();
        if (status == kNoUser) {
            GTEST_SKIP() << "running as root, and cannot become an unprivileged user, for "
                            "whom file modes apply";
        }
        EXPECT_EQ(status, 0) << "the unprivileged run failed (its output is above)";
        return;
    }
    const std::filesystem::path dir = m_dir.path() / "locked";
    std::filesystem::create_directory(dir);
    const std::string url = "sqlite:" + (dir / "store.db").string();
    ASSERT_EQ(bindDataSource("x.seed", url), 0U);
    // Seeded on a thread of its own: its connection closes with it, and with
    // the last connection the WAL files go.
    std::thread([] {
        ASSERT_TRUE(run("x.seed", "create table t(id integer primary key, name text)").ok());
        ASSERT_TRUE(run("x.seed", "insert into t values(1, 'one'), (2, 'two')").ok());
    }).join();
    ASSERT_FALSE(std::filesystem::exists(dir / "store.db-wal"));

    std::vector<std::string> texts{"a", "b"};
    Params params;
    params.add("name", texts);
    const struct {
        const char* name;
        mode_t dirMode;
        mode_t fileMode;
    } cases[] = {{"ReadOnlyFile", 0755, 0444}, {"ReadOnlyDirectory", 0555, 0644}};
    for (const auto& c : cases) {
        ASSERT_EQ(::chmod((dir / "store.db").c_str(), c.fileMode), 0);
        ASSERT_EQ(::chmod(dir.c_str(), c.dirMode), 0);
        const std::string session = "x."s + c.name;
        std::thread([&] {
            ASSERT_EQ(bindDataSource(session, url), 0U);
            for (const Write& w : refusedWrites(params)) {
                const ExecResult status = w.run(session);
                EXPECT_EQ(status.errorCode() & 0xff, kReadOnly)
                    << c.name << " " << w.name << ": " << status.errorCode() << " "
                    << detailOf(status);
            }
            const Rows rows = query(session, "select * from t order by id");
            EXPECT_EQ(rows, seededRows()) << c.name;
            unbindDataSource(session);
        }).join();
        ASSERT_EQ(::chmod(dir.c_str(), 0755), 0);
        ASSERT_EQ(::chmod((dir / "store.db").c_str(), 0644), 0);
        EXPECT_EQ(queryElsewhere("x.seed", "select * from t order by id"), seededRows()) << c.name;
    }
    unbindDataSource("x.seed");
}

// What happens to the file at path: deleted, or another database (a backup,
// one file with table t holding row 7) renamed over it. What a fresh handle
// then reads at the path with sql, and the code of a write into t after a
// deletion (the new empty file has no table t) or a replacement.
struct FileChange {
    const char* name;
    void (*apply)(const std::string& path);
    std::uint64_t writeCode;
    const char* sql;
    Rows after;      // what sql reads at the path after a write of row 3
    Rows untouched;  // what it reads when nothing was written
};

void putBackup(const std::string& path) {
    const std::string backup = path + ".backup";
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(backup.c_str(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db,
                           "pragma synchronous=off;"
                           "create table t(id integer primary key, name text);"
                           "insert into t values(7, 'restored')",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(db);
    ASSERT_EQ(std::rename(backup.c_str(), path.c_str()), 0);
}

const FileChange kFileChanges[] = {
    {"Deleted",
     [](const std::string& path) { ASSERT_TRUE(std::filesystem::remove(path)); },
     1,
     "select count(*) from sqlite_master",
     {{"0"}},
     {{"!unable to open database file"}}},
    {"Replaced",
     &putBackup,
     0,
     "select * from t order by id",
     {{"3", "after"}, {"7", "restored"}},
     {{"7", "restored"}}},
};

// Binds session to a new file at path with rows 1 and 2 in t, and opens
// reader on it (with its first row read) when withReader.
void startFile(const std::string& session, const std::string& path, bool withReader,
               std::optional<DataSession>& reader) {
    // Without waits for the disk: what is tested is which file the rows reach.
    ASSERT_EQ(bindDataSource(session, "sqlite:" + path + "?synchronous=off"), 0U);
    ASSERT_TRUE(run(session, "create table t(id integer primary key, name text)").ok());
    ASSERT_TRUE(run(session, "insert into t values(1, 'one'), (2, 'two')").ok());
    if (withReader) {
        open(reader.emplace(session.c_str()), "select id from t order by id");
        Row row;
        ExecResult status;
        ASSERT_TRUE(reader->fetchRow(status, rowTarget(row), 1));
    }
}

// A connection to a file that was deleted or replaced is not written to: the
// next write, batch or transaction of its thread, through a new session or one
// kept from before, goes to the file now at the path, reopened, whether or not
// a reader is still open on the old file (which reads on in it). The old
// file's -wal, with rows 1 and 2 in it, is not taken for the new file's.
TEST_F(SqliteTest, AWriteAfterTheFileWasDeletedOrReplacedGoesToTheFileAtThePath) {
    std::vector<std::int64_t> ids{3};
    std::vector<std::string> names{"after"};
    Params params;
    params.add("id", ids).add("name", names);
    const std::string insert = "insert into t values(3, 'after')";
    std::optional<DataSession> kept;  // made before the change
    const Write writes[] = {
        {"Insert", [&](const std::string& s) { return run(s, insert); }},
        {"Batch",
         [&](const std::string& s) {
             return batch(s, "insert into t values({id}, {name})", params.ref());
         }},
        {"Transaction",
         [&](const std::string& s) {
             DataSession session(s.c_str());
             ExecResult status = session.beginTransaction();
             status = status.ok() ? run(s, insert) : status;
             return status.ok() ? session.commit() : status;
         }},
        {"KeptSession",
         [&](const std::string&) {
             return kept->execute("w", SqlKind::Write, insert, NoParameters{});
         }},
    };
    for (const FileChange& change : kFileChanges) {
        for (const Write& w : writes) {
            for (const bool readerOpen : {false, true}) {
                const std::string name =
                    change.name + "."s + w.name + (readerOpen ? ".Reader" : "");
                SCOPED_TRACE(name);
                const std::string path = m_dir.file(name + ".db");
                const std::string session = "x." + name;
                std::optional<DataSession> reader;
                startFile(session, path, readerOpen, reader);
                if (w.name == "KeptSession"s) {
                    ASSERT_TRUE(kept.emplace(session.c_str())
                                    .execute("w", SqlKind::Write, "update t set name = name",
                                             NoParameters{})
                                    .ok());
                }
                change.apply(path);
                EXPECT_EQ(w.run(session).errorCode(), change.writeCode);
                if (reader) {
                    EXPECT_EQ(fetchAll(*reader), (Rows{{"2"}}));  // the old file's
                    reader.reset();
                }
                EXPECT_EQ(rawRows(path, change.sql), change.after);
                EXPECT_EQ(query(session, change.sql), change.after);
                kept.reset();
                unbindDataSource(session);
            }
        }
    }
}

// A transaction open when its file is deleted or replaced commits nothing:
// the commit fails with SQLITE_READONLY_DBMOVED, rolled back, and the next
// write goes to the file now at the path.
TEST_F(SqliteTest, ACommitAfterTheFileWasDeletedOrReplacedFailsAndCommitsNothing) {
    seed();
    const std::string path = m_dir.file("store.db");
    for (const FileChange& change : kFileChanges) {
        SCOPED_TRACE(change.name);
        ASSERT_TRUE(
            run(m_session, "create table if not exists t(id integer primary key, name text)").ok());
        DataSession s(m_session.c_str());
        ASSERT_TRUE(s.beginTransaction().ok());
        ASSERT_TRUE(run(m_session, "insert into t values(3, 'after')").ok());
        change.apply(path);
        const ExecResult commit = s.commit();
        EXPECT_EQ(commit.errorCode(), 1032U);
        EXPECT_NE(detailOf(commit).find(path + " was deleted or replaced while the transaction "
                                               "was open; the transaction was rolled back"),
                  std::string::npos)
            << detailOf(commit);
        EXPECT_EQ(rawRows(path, change.sql), change.untouched);
        EXPECT_EQ(run(m_session, "insert into t values(3, 'after')").errorCode(), change.writeCode);
        EXPECT_EQ(rawRows(path, change.sql), change.after);
    }
}

// An in-memory database has no file to lose: its table stays through writes
// and a commit.
TEST_F(SqliteTest, AnInMemoryDatabaseIsNeverTakenForReplaced) {
    ASSERT_EQ(bindDataSource("x.memory", "sqlite::memory:"), 0U);
    ASSERT_TRUE(run("x.memory", "create table t(v)").ok());
    DataSession s("x.memory");
    ASSERT_TRUE(s.beginTransaction().ok());
    ASSERT_TRUE(run("x.memory", "insert into t values(1)").ok());
    EXPECT_TRUE(s.commit().ok());
    EXPECT_TRUE(run("x.memory", "insert into t values(2)").ok());
    EXPECT_EQ(query("x.memory", "select count(*) from t"), (Rows{{"2"}}));
    unbindDataSource("x.memory");
}

// After a second idle a read looks at the file too: one on a read-only URL
// (mode=ro) reads the file put in place meanwhile, and refuses a write as
// always; a write on the thread's connection still finds the file replaced
// while a reader holds that connection.
TEST_F(SqliteTest, AfterAnIdleSecondReadsSeeTheFileNowAtThePath) {
    seed();
    const std::string path = m_dir.file("store.db");
    ASSERT_EQ(bindDataSource("x.ro", m_url + "?mode=ro"), 0U);
    EXPECT_EQ(query("x.ro", "select * from t order by id"), seededRows());
    DataSession reader(m_session.c_str());
    open(reader, "select id from t order by id");
    putBackup(path);
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    EXPECT_EQ(query("x.ro", "select * from t order by id"), (Rows{{"7", "restored"}}));
    EXPECT_EQ(run("x.ro", "insert into t values(3, 'after')").errorCode(), kReadOnly);
    EXPECT_TRUE(run(m_session, "insert into t values(3, 'after')").ok());
    EXPECT_EQ(fetchAll(reader), (Rows{{"1"}, {"2"}}));
    EXPECT_EQ(rawRows(path, "select * from t order by id"),
              (Rows{{"3", "after"}, {"7", "restored"}}));
    unbindDataSource("x.ro");
}

}  // namespace
}  // namespace vorn::test

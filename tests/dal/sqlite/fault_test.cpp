// SQLite files that cannot take a write: full, read-only, in a read-only
// directory. Every call gets the store's code, and what was stored before
// stays intact and readable.
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>

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

}  // namespace
}  // namespace vorn::test

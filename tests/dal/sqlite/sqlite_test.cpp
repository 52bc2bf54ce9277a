// What only the SQLite backend does: its URL options, its files, its quoting
// and field bytes, and many writers on one file.
#include <filesystem>
#include <fstream>
#include <thread>

#include "dal_fixture.h"

namespace vorn::test {
namespace {

using namespace std::string_literals;

TEST_F(SqliteTest, FieldsKeepTheirBytesAndSqliteQuotingIsKnown) {
    EXPECT_EQ(query(m_session, "select 'a\xFF', x'00410042', 1 as [a;b], 2 as `c;d`"),
              (Rows{{"a\xFF", "\0A\0B"s, "1", "2"}}));
}

TEST_F(SqliteTest, UrlOptionsApplyAndMalformedOnesAreRefused) {
    seed();
    const std::string options = "?busy_timeout=100&journal_mode=delete&synchronous=normal";
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

TEST_F(SqliteTest, ReadOnlyAndUnopenableFilesReturnStoreCodes) {
    seed();
    ASSERT_EQ(bindDataSource("x.ro", m_url + "?mode=ro"), 0U);
    EXPECT_EQ(query("x.ro", "select * from t order by id"), seededRows());
    for (const char* sql : {"insert into t values(3, 'x')", "create table u(v)"}) {
        const ExecResult status = run("x.ro", sql);
        EXPECT_EQ(status.errorCode(), 8U) << sql;  // SQLITE_READONLY
        EXPECT_EQ(detailOf(status), "attempt to write a readonly database");
    }

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
    unbindDataSource("x.ro");
    unbindDataSource("x.cantopen");
    EXPECT_FALSE(std::filesystem::exists(m_dir.file("missing.db")));
    EXPECT_EQ(all(), seededRows());
}

// Writers on other threads wait for the file's write lock instead of failing.
TEST_F(SqliteTest, ConcurrentWritersOnOneFileAllSucceed) {
    ASSERT_TRUE(run(m_session, "create table t(v text)").ok());
    constexpr int kThreads = 4;
    constexpr int kRows = 50;
    std::vector<int> failures(kThreads, 0);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int n = 0; n < kThreads; ++n) {
        threads.emplace_back([&, n] {
            for (int r = 0; r < kRows; ++r) {
                const bool inTransaction = r % 10 == 0;
                if (inTransaction && !DataSession(m_session.c_str()).beginTransaction().ok()) {
                    ++failures[n];
                }
                if (!run(m_session, "insert into t values('" + std::to_string(n) + "')").ok()) {
                    ++failures[n];
                }
                if (inTransaction && !DataSession(m_session.c_str()).commit().ok()) {
                    ++failures[n];
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, std::vector<int>(kThreads, 0));
    EXPECT_EQ(query(m_session, "select count(*) from t"),
              (Rows{{std::to_string(kThreads * kRows)}}));
}

}  // namespace
}  // namespace vorn::test

// What a caller learns besides the return code, on every store: the last
// error with a category that is the same for the same fault everywhere (of
// bad statements and unusable stores: bad_input_test.cpp), the events of the
// statements, the statistics and the log of slow statements.
#include "vorn/diagnostics.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "log_capture.h"
#include "store_fixture.h"
#include "vorn/vorn.h"

namespace vorn {
// Categories by name in test messages.
inline void PrintTo(ErrorCategory category, std::ostream* out) {
    *out << toString(category);
}
}  // namespace vorn

namespace vorn::test {
namespace {

using namespace std::chrono_literals;
using platform::LogLevel;

class DiagnosticsTest : public StoreTest {
  protected:
    void TearDown() override {
        setStatementObserver(nullptr);
        setSlowStatementThreshold(0ms);
        unbindDataSource("default");  // some tests bind it to a URL of their own
        StoreTest::TearDown();
    }

    // Rebinds "default" with a short wait for locks: busy_timeout on SQLite,
    // lock_timeout on PostgreSQL.
    void bindWithShortLockWait() {
        const std::string url =
            onPostgres()
                ? withServerSetting(m_schemas["default"], m_stores["default"], "lock_timeout", "50")
                : "sqlite:" + m_dir.file("default.db") + "?busy_timeout=50";
        ASSERT_EQ(bindDataSource("default", url), 0u);
    }
};

TEST_F(DiagnosticsTest, ALockHeldElsewhereIsBusyOnEveryStore) {
    ASSERT_EQ(runWrite("create table t(id integer)"), 0u);
    bindWithShortLockWait();
    std::promise<void> holding;
    std::promise<void> done;
    std::thread holder([&] {
        Database db;
        EXPECT_EQ(db->beginTransaction(), 0u);
        EXPECT_EQ(runWrite(onPostgres() ? "lock table t in access exclusive mode"
                                        : "insert into t values(1)"),
                  0u);
        holding.set_value();
        done.get_future().wait();
        EXPECT_EQ(db->rollbackTransaction(), 0u);
    });
    holding.get_future().wait();
    const unsigned long code = runWrite("insert into t values(2)");
    const ErrorInfo last = lastError();
    done.set_value();
    holder.join();
    EXPECT_NE(code, 0u);
    EXPECT_EQ(last.category, ErrorCategory::Busy) << last.code << ": " << last.message;
    EXPECT_EQ(runWrite("insert into t values(3)"), 0u);  // the store is free again
}

// A connection the server ended is a lost connection (a store that cannot be
// reached at all: bad_input_test.cpp).
TEST_F(DiagnosticsTest, AConnectionTheServerEndedIsConnectionLost) {
    if (!onPostgres() || !poolerUrl().empty()) {
        GTEST_SKIP() << "ends a server connection of its own, which a pooler would replace unseen";
    }
    ASSERT_EQ(runWrite("create table t(id integer)"), 0u);
    const Rows pid = runQuery("select pg_backend_pid()", 1);
    ASSERT_EQ(pid.size(), 1u);
    ASSERT_TRUE(adminExecute("select pg_terminate_backend(" + pid[0][0] + ")"));
    EXPECT_NE(runWrite("insert into t values(1)"), 0u);
    const ErrorInfo last = lastError();
    EXPECT_EQ(last.category, ErrorCategory::ConnectionLost) << last.code << ": " << last.message;
    EXPECT_EQ(last.sqlstate.substr(0, 2), last.sqlstate == "57P01" ? "57" : "08");
}

// postgresUrl() with the user information replaced by userInfo.
std::string asUser(const std::string& userInfo) {
    const std::string url = postgresUrl();
    const std::size_t start = url.find("://") + 3;
    return url.substr(0, start) + userInfo + url.substr(url.find('@', start));
}

// A refused session says why, and whether trying again helps (Busy) or not
// (Permission). The roles are the test's own; scripts/pg-server's pg_hba.conf
// asks vorn_password for its password and refuses vorn_refused.
TEST_F(DiagnosticsTest, ARefusedSessionSaysWhyWithoutItsSecrets) {
    if (!onPostgres()) {
        GTEST_SKIP() << "PostgreSQL's refusals of a session";
    }
    const std::string hbaRules =
        "select count(*) from pg_hba_file_rules where (user_name = '{vorn_password}' and "
        "auth_method = 'scram-sha-256') or (user_name = '{vorn_refused}' and auth_method = "
        "'reject')";
    if (runQuery(hbaRules, 1) != Rows{{"2"}}) {
        GTEST_SKIP() << "the server's pg_hba.conf has no rules for the roles vorn_password and "
                        "vorn_refused: start it with scripts/pg-server";
    }
    for (const char* role : {"vorn_password", "vorn_refused", "vorn_full"}) {
        adminExecute(std::string("create role ") + role + " login");  // may exist already
    }
    ASSERT_TRUE(adminExecute("alter role vorn_password password 'right-s3cret-pw'"));
    ASSERT_TRUE(adminExecute("alter role vorn_full connection limit 0"));
    seedKept();
    ::setenv("PGPASSFILE", m_dir.file("no-pgpass").c_str(), 1);
    const bool serverHasSsl = runQuery("show ssl", 1) == Rows{{"on"}};
    const struct {
        std::string url;
        ErrorCategory category;
        const char* sqlstate;
        const char* says;
    } cases[] = {
        {asUser("vorn_password:wrong-s3cret-pw"), ErrorCategory::Permission, "28P01",
         "password authentication failed"},
        {asUser("vorn_password"), ErrorCategory::Permission, "28P01", "no password supplied"},
        {asUser("vorn_refused:s3cret-pw"), ErrorCategory::Permission, "28000", "pg_hba.conf"},
        {asUser("vorn_full:s3cret-pw"), ErrorCategory::Busy, "53300", "too many connections"},
        {withOptions(asUser("vorn:s3cret-pw"), "sslmode=require"), ErrorCategory::Permission,
         "28000", "server does not support SSL"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url);
        if (serverHasSsl && c.url.find("sslmode=require") != std::string::npos) {
            continue;  // this refusal needs a server without SSL
        }
        LogCapture log;
        ASSERT_EQ(bindDataSource("default", c.url), 0u);
        EXPECT_NE(runWrite("insert into kept values(4, 'd')"), 0u);
        const ErrorInfo last = lastError();
        EXPECT_EQ(last.category, c.category) << last.message;
        EXPECT_EQ(last.sqlstate, c.sqlstate) << last.message;
        EXPECT_NE(last.message.find(c.says), std::string::npos) << last.message;
        EXPECT_EQ(last.message.find("s3cret"), std::string::npos) << last.message;
        EXPECT_EQ(log.containing("s3cret"), "");
        EXPECT_EQ(describeDataSource("default").find("s3cret"), std::string::npos);
    }
    ::unsetenv("PGPASSFILE");
    ASSERT_EQ(bindDataSource("default", m_stores["default"].url), 0u);
    EXPECT_EQ(keptRows(), seededKept());
}

TEST_F(DiagnosticsTest, TheObserverSeesEveryStatementAndTheStatisticsCountThem) {
    ASSERT_EQ(runWrite("create table t(id integer, name text)"), 0u);
    std::vector<StatementEvent> events;
    std::vector<std::string> texts;
    setStatementObserver([&](const StatementEvent& event) {
        events.push_back(event);
        texts.emplace_back(event.text);
    });
    resetStatistics();

    Database db;
    ASSERT_EQ(db->beginTransaction(), 0u);
    CVORNInserter inserter;
    inserter.table("t");
    inserter["id"]["name"] << 1 << "password=hunter22";
    ASSERT_EQ(db->execWriteSQL(inserter), 0u);
    BatchInserter batch;
    batch.table("t");
    batch["id"] << 2 << 3 << 4;
    batch["name"] << "b"
                  << "c"
                  << "d";
    ASSERT_EQ(db->ExecBatchInserter(batch), 0u);
    EXPECT_EQ(runQuery("select id from t order by id", 1).size(), 4u);
    EXPECT_NE(runWrite("selec 1"), 0u);
    ASSERT_EQ(db->commitTransaction(), 0u);
    setStatementObserver(nullptr);

    const std::vector<StatementKind> kinds = {StatementKind::Begin, StatementKind::Write,
                                              StatementKind::Batch, StatementKind::Read,
                                              StatementKind::Write, StatementKind::Commit};
    ASSERT_EQ(events.size(), kinds.size());
    const std::uint64_t rows[] = {0, 1, 3, 4, 0, 0};
    for (std::size_t i = 0; i < events.size(); ++i) {
        SCOPED_TRACE(texts[i]);
        EXPECT_EQ(events[i].kind, kinds[i]);
        EXPECT_EQ(events[i].rows, rows[i]);
        EXPECT_GT(events[i].duration, 0ns);
        EXPECT_LT(events[i].duration, 60s);
    }
    EXPECT_EQ(texts[1].find("hunter22"), std::string::npos);  // scrubbed
    EXPECT_NE(texts[1].find("password=***"), std::string::npos);
    EXPECT_EQ(events[4].category, ErrorCategory::Syntax);
    EXPECT_EQ(texts[5], "COMMIT");

    for (const StatementStatistics& s : statistics()) {
        SCOPED_TRACE(toString(s.kind));
        EXPECT_EQ(s.session, "default");
        const bool write = s.kind == StatementKind::Write;
        EXPECT_EQ(s.calls, write ? 2u : 1u);
        EXPECT_EQ(s.errors, write ? 1u : 0u);
        EXPECT_EQ(s.errorsByCategory[static_cast<int>(ErrorCategory::Syntax)], s.errors);
        EXPECT_GE(s.totalDuration, s.maxDuration);
        EXPECT_GT(s.maxDuration, 0ns);
    }
    EXPECT_EQ(statistics().size(), 5u);
}

TEST_F(DiagnosticsTest, FailuresAndSlowStatementsAreLoggedWithTheirCodeAndThread) {
    LogCapture log;
    const unsigned long code = runWrite("insert into missing values('pwd=s3cret')");
    ASSERT_NE(code, 0u);
    const auto failures = log.at(LogLevel::Info);
    ASSERT_EQ(failures.size(), 1u);  // its code and text: tests/conformance/log_rules_test.cpp
    EXPECT_EQ(failures[0].thread, static_cast<std::uint64_t>(::gettid()));

    // A commit without a transaction, refused by SQLite, is kept for
    // lastError() (that it logs nothing: tests/conformance/log_rules_test.cpp).
    const unsigned long commit = Database()->commitTransaction();
    EXPECT_EQ(lastError().code, commit);
    EXPECT_EQ(lastError().message.empty(), commit == 0);

    log.reset();
    setSlowStatementThreshold(1ms);
    const std::string slow = onPostgres()
                                 ? "select pg_sleep(0.01), 'password=s3cret'"
                                 : "with recursive g(v) as (select 1 union all select v + 1 from g "
                                   "where v < 300000) select count(*), 'password=s3cret' from g";
    const Rows rows = runQuery(slow, 1);
    ASSERT_EQ(rows.size(), 1u);
    const auto lines = log.at(LogLevel::Info);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text.rfind("[VORNLib]slow statement: ", 0), 0u) << lines[0].text;
    EXPECT_NE(lines[0].text.find("1 rows, read on session default"), std::string::npos);
    EXPECT_EQ(lines[0].text.find("s3cret"), std::string::npos);
}

}  // namespace
}  // namespace vorn::test

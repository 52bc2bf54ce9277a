// What only the MariaDB backend does: its URLs, its error numbers, values
// that stay data whatever the server's own sql_mode, and bulk batches.
#include <cstdint>
#include <string>
#include <vector>

#include "dal_fixture.h"
#include "exec/dal/backend.h"
#include "exec/dal/error_class.h"
#include "exec/dal/mariadb/settings.h"

namespace vorn::test {
namespace {

using namespace std::string_literals;
using vorn::dal::MariadbSettings;

TEST(MariadbSettingsTest, UrlsAreReadAndBadOnesRefusedWithoutTheirSecrets) {
    MariadbSettings settings;
    std::string problem;
    ASSERT_TRUE(MariadbSettings::parse(
        "mysql://us%40r:p%2Fss@[::1]:3307/my%20db?ssl_mode=VERIFY_IDENTITY&ssl_ca=/ca.pem"
        "&connect_timeout=3&vorn_call_timeout=50",
        settings, problem))
        << problem;
    EXPECT_EQ(settings.user, "us@r");
    EXPECT_EQ(settings.password, "p/ss");
    EXPECT_EQ(settings.host, "::1");
    EXPECT_EQ(settings.port, 3307U);
    EXPECT_EQ(settings.database, "my db");
    EXPECT_EQ(settings.tls, MariadbSettings::Tls::Verify);
    EXPECT_EQ(settings.sslCa, "/ca.pem");
    EXPECT_EQ(settings.connectTimeoutSeconds, 3U);
    ASSERT_TRUE(MariadbSettings::parse("mariadb://u:pw@/db?socket=/run/mysqld/mysqld.sock",
                                       settings, problem));
    EXPECT_EQ(settings.socket, "/run/mysqld/mysqld.sock");

    const char* const bad[] = {
        "mariadb://u:s3cretpw@h/db?s3cretpw",  // a key that is the password
        "mariadb://u:s3cretpw@h/db?sslmode=require",
        "mariadb://u:s3cretpw@h:99999/db",
        "mariadb://u:s3cretpw@h/db?ssl_mode=prefer",
        "mariadb://u:s3cretpw@h/db?connect_timeout=0",
        "mariadb://u:s3cret%2@h/db",
        "mariadb://u:s3cretpw@/db",  // no host, no socket
        "mariadb:u:s3cretpw@h/db",
    };
    for (const char* url : bad) {
        EXPECT_FALSE(MariadbSettings::parse(url, settings, problem)) << url;
        EXPECT_EQ(problem.find("s3cret"), std::string::npos) << problem;
        EXPECT_FALSE(problem.empty()) << url;
    }
}

// The session's quoting is pinned whatever the server's default sql_mode (the
// test server keeps MariaDB's, where a backslash escapes) and whatever a raw
// SET did to it: builder literals (quotes doubled) and bound values stay data.
TEST_F(MariadbTest, BackslashesQuotesAndNulStayData) {
    ASSERT_TRUE(run(m_session, "create table v(id integer, s text)").ok());
    const std::string values[] = {"\\'", "\\\\", "'", "a\\", "x\0' or 1=1 -- "s, "\\' , 9) -- "};
    const auto literal = [](const std::string& value) {
        std::string out = "'";
        for (const char c : value) {
            out += c == '\'' ? "''" : std::string(1, c);
        }
        return out + "'";
    };
    std::int64_t id = 0;
    for (const std::string& value : values) {
        // A caller's SET puts the server's backslash escapes back; the next
        // statement still runs in the pinned mode.
        ASSERT_TRUE(run(m_session, "set sql_mode = 'STRICT_TRANS_TABLES'").ok());
        const ExecResult raw = run(m_session, "insert into v values(" + std::to_string(++id) +
                                                  ", " + literal(value) + ")");
        EXPECT_TRUE(raw.ok()) << detailOf(raw);
        const ExecResult bound =
            DataSession(m_session.c_str())
                .execute("id", SqlKind::Write, "insert into v values({id}, {s})",
                         platform::BoundParameters{{"id", ++id}, {"s", value}});
        EXPECT_TRUE(bound.ok()) << detailOf(bound);
    }
    Rows expected;
    for (std::size_t i = 0; i < 2 * std::size(values); ++i) {
        expected.push_back({std::to_string(i + 1), values[i / 2]});
    }
    EXPECT_EQ(all("v"), expected);
    // Read back through a bound read too (the binary protocol).
    DataSession s(m_session.c_str());
    ASSERT_TRUE(s.execute("id", SqlKind::Read, "select id, s from v where s = {s} order by id",
                          platform::BoundParameters{{"s", values[0]}})
                    .ok());
    EXPECT_EQ(fetchAll(s), (Rows{{"1", values[0]}, {"2", values[0]}}));
}

TEST_F(MariadbTest, FailuresCarryTheErrorNumberAndItsCategoryAndLeaveRowsAlone) {
    ASSERT_TRUE(
        run(m_session, "create table e(id integer primary key, s varchar(3) not null, n tinyint)")
            .ok());
    ASSERT_TRUE(run(m_session, "insert into e values(1, 'one', 1)").ok());
    const dal::Backend* backend = dal::findBackend("mariadb");
    ASSERT_NE(backend, nullptr);
    const struct {
        const char* sql;
        std::uint64_t errnum;
        ErrorCategory category;
        const char* sqlstate;
    } cases[] = {
        {"insert into e values(1, 'dup', 1)", 1062, ErrorCategory::Constraint, "23505"},
        {"insert into e values(2, null, 1)", 1048, ErrorCategory::Constraint, "23502"},
        {"insert into e values(2, 'long', 1)", 1406, ErrorCategory::InvalidValue, "22001"},
        {"insert into e values(2, 'x', 1000)", 1264, ErrorCategory::InvalidValue, "22003"},
        {"insert into e values(2, 'x', 'y')", 1366, ErrorCategory::InvalidValue, "22P02"},
        {"select * from nope", 1146, ErrorCategory::Syntax, "42P01"},
        {"select nope from e", 1054, ErrorCategory::Syntax, "42703"},
        {"selec 1", 1064, ErrorCategory::Syntax, "42601"},
        {"select 1 / 0 from e where id = 1 into @x", 0, ErrorCategory::None, ""},
    };
    for (const auto& c : cases) {
        const ExecResult status = run(m_session, c.sql);
        if (c.errnum == 0) {
            continue;  // a statement the others must not disturb
        }
        EXPECT_EQ(status.errorCode(), myCode(c.errnum)) << c.sql << ": " << detailOf(status);
        const dal::ErrorClass sorted =
            dal::classifyFailure(status.errorCode(), detailOf(status), false, backend);
        EXPECT_EQ(sorted.category, c.category) << c.sql;
        EXPECT_EQ(sorted.sqlstate, c.sqlstate) << c.sql;
    }
    EXPECT_EQ(all("e"), (Rows{{"1", "one", "1"}}));
}

TEST_F(MariadbTest, AWrongPasswordIsRefusedWithoutShowingIt) {
    dal::MariadbSettings settings;
    std::string problem;
    ASSERT_TRUE(MariadbSettings::parse(m_url, settings, problem));
    std::string url = m_url;
    url.replace(url.find(settings.password), settings.password.size(), "Wr0ngPassw0rd");
    ASSERT_EQ(bindDataSource("mariadb_wrong_password", url), 0U);
    const ExecResult status = run("mariadb_wrong_password", "select 1");
    unbindDataSource("mariadb_wrong_password");
    EXPECT_EQ(status.errorCode(), myCode(1045)) << detailOf(status);
    EXPECT_EQ(detailOf(status).find("Wr0ngPassw0rd"), std::string::npos) << detailOf(status);
}

// Bulk batches span more than one array execution; a failing row leaves none
// of the batch, in a transaction of its own or inside the caller's, whose
// earlier rows stay.
TEST_F(MariadbTest, BulkBatchesAreAllRowsOrNone) {
    ASSERT_TRUE(run(m_session, "create table b(id bigint primary key, s text, d double)").ok());
    constexpr std::int64_t kRows = 20000;
    std::vector<std::int64_t> ids;
    std::vector<std::string> texts;
    std::vector<double> reals;
    for (std::int64_t i = 0; i < kRows; ++i) {
        ids.push_back(i);
        texts.push_back("t" + std::to_string(i));
        reals.push_back(static_cast<double>(i) / 3);
    }
    const std::string sql = "insert into b values({id}, {s}, {d})";
    ids.back() = 0;  // a duplicate in the last chunk
    EXPECT_EQ(batch(m_session, sql, Params().add("id", ids).add("s", texts).add("d", reals).ref())
                  .errorCode(),
              myCode(1062));
    EXPECT_EQ(all("b").size(), 0U);
    ASSERT_TRUE(DataSession(m_session.c_str()).beginTransaction().ok());
    ASSERT_TRUE(run(m_session, "insert into b values(-1, 'kept', 0)").ok());
    EXPECT_EQ(batch(m_session, sql, Params().add("id", ids).add("s", texts).add("d", reals).ref())
                  .errorCode(),
              myCode(1062));
    ids.back() = kRows - 1;
    const ExecResult status =
        batch(m_session, sql, Params().add("id", ids).add("s", texts).add("d", reals).ref());
    ASSERT_TRUE(status.ok()) << detailOf(status);
    EXPECT_EQ(status.rows(), static_cast<std::uint64_t>(kRows));
    ASSERT_TRUE(DataSession(m_session.c_str()).commit().ok());
    EXPECT_EQ(query(m_session, "select count(*), min(id), max(s), sum(d) from b where id < 3"),
              (Rows{{"4", "-1", "t2", "1"}}));
    EXPECT_EQ(query(m_session, "select d from b where id = 20"), (Rows{{"6.666666666666667"}}));
}

}  // namespace
}  // namespace vorn::test

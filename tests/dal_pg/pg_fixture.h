#pragma once

#include <gtest/gtest.h>

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "dal_session.h"

namespace vorn::test {

// The server under test: $VORN_TEST_PG_URL, e.g. as printed by
// "scripts/pg-server start <dir>". Empty when unset.
inline std::string pgServerUrl() {
    const char* url = std::getenv("VORN_TEST_PG_URL");
    return url != nullptr ? url : "";
}

inline std::uint64_t pgCode(const char* sqlstate) {
    return platform::pgCodeFromSqlstate(sqlstate);
}

// Each test binds a session name of its own to the server, and names its
// tables after itself, since the database is shared by every test.
class PgTest : public ::testing::Test {
  protected:
    void SetUp() override {
        m_url = pgServerUrl();
        if (m_url.empty()) {
            GTEST_SKIP() << "VORN_TEST_PG_URL is not set: start a throwaway server with "
                            "\"scripts/pg-server start <dir>\" and export the lines it prints";
        }
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_session = std::string("pg.") + info->test_suite_name() + "." + info->name();
        m_table = tableNameFor(std::string(info->test_suite_name()) + "_" + info->name());
        ASSERT_EQ(bindDataSource(m_session, m_url), 0U);
    }
    void TearDown() override {
        if (!m_session.empty()) {
            unbindDataSource(m_session);
        }
    }

    // The server URL with further query options ("a=b&c=d").
    std::string urlWith(const std::string& options) const {
        return m_url + (m_url.find('?') == std::string::npos ? "?" : "&") + options;
    }

    // A table name of this test's own: m_table plus suffix, dropped first.
    std::string freshTable(const std::string& suffix, const std::string& columns) {
        const std::string name = m_table + suffix;
        EXPECT_TRUE(run(m_session, "drop table if exists " + name).ok());
        const ExecResult created = run(m_session, "create table " + name + " (" + columns + ")");
        EXPECT_TRUE(created.ok()) << detailOf(created);
        return name;
    }

    Rows all(const std::string& table, const std::string& columns = "*") const {
        return query(m_session, "select " + columns + " from " + table + " order by 1");
    }

    std::string m_url;
    std::string m_session;
    std::string m_table;

  private:
    // Lower case letters, digits and '_', short enough for PostgreSQL (63
    // bytes) with room for a suffix, and distinct per test.
    static std::string tableNameFor(const std::string& test) {
        std::string name = "t_";
        for (const char c : test) {
            if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
                name.push_back(c);
            } else if (c >= 'A' && c <= 'Z') {
                name.push_back(static_cast<char>(c - 'A' + 'a'));
            } else {
                name.push_back('_');
            }
        }
        if (name.size() > 40) {
            name.resize(40);
        }
        char hash[17] = {};
        const std::size_t value = std::hash<std::string>{}(test)&0xFFFFFFFFU;
        std::to_chars(hash, hash + sizeof hash - 1, value, 16);
        return name + "_" + hash;
    }
};

}  // namespace vorn::test

#pragma once

#include <gtest/gtest.h>

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "vorn/datasource.h"
#include "vorn/platform/data_access.h"
#include "vorn/platform/error_codes.h"
#include "vorn/platform/type_registry.h"

namespace vorn::test {

using platform::DataSession;
using platform::ExecResult;
using platform::NoParameters;
using platform::Row;
using platform::SqlKind;
using platform::TypedRef;
namespace errc = platform::errc;
using Rows = std::vector<std::vector<std::string>>;

// The server under test: $VORN_TEST_PG_URL, e.g. as printed by
// "scripts/pg-server start <dir>". Empty when unset.
inline std::string pgServerUrl() {
    const char* url = std::getenv("VORN_TEST_PG_URL");
    return url != nullptr ? url : "";
}

inline std::uint64_t pgCode(const char* sqlstate) {
    return platform::pgCodeFromSqlstate(sqlstate);
}

inline std::string detailOf(const ExecResult& status) {
    return status.detail().value_or("");
}

inline ExecResult run(const std::string& session, const std::string& sql,
                      SqlKind kind = SqlKind::Write) {
    DataSession s(session.c_str());
    return s.execute(platform::makeStatementId("dal_pg_test", "run", __LINE__), kind, sql,
                     NoParameters{});
}

inline TypedRef rowTarget(Row& row) {
    TypedRef ref;
    ref.type.code = platform::typecode::kRowTarget;
    ref.object = &row;
    return ref;
}

// Every field of every remaining row of the read open on s.
inline Rows fetchAll(DataSession& s) {
    Rows rows;
    Row row;
    ExecResult status;
    while (s.fetchRow(status, rowTarget(row), 100)) {
        rows.emplace_back(row.begin(), row.end());
    }
    EXPECT_TRUE(status.ok()) << detailOf(status);
    return rows;
}

inline Rows query(const std::string& session, const std::string& sql) {
    DataSession s(session.c_str());
    const ExecResult status = s.execute("dal_pg_test:query:0", SqlKind::Read, sql, NoParameters{});
    EXPECT_TRUE(status.ok()) << sql << ": " << detailOf(status);
    return fetchAll(s);
}

// A batch parameter set over vectors the test owns, made as the executor makes it.
struct Params {
    template <class T>
    Params& add(const std::string& key, std::vector<T>& column) {
        TypedRef& ref = map[key];
        platform::TypeRegistry::registerVectorType<std::vector<T>>(
            ref.type, platform::typecode::kContainer, "std::vector", 0);
        ref.type.flags |= platform::kFlagReference;
        ref.object = &column;
        return *this;
    }
    TypedRef ref() {
        return TypedRef{{platform::typecode::kParamMap, platform::kFlagReference, nullptr}, &map};
    }
    platform::ParamRefMap map;
};

inline ExecResult batch(const std::string& session, const std::string& sql,
                        const TypedRef& params) {
    DataSession s(session.c_str());
    return s.execute("dal_pg_test:batch:0", SqlKind::Batch, sql, params);
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

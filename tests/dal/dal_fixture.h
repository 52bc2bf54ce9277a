#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "scratch_dir.h"
#include "vorn/datasource.h"
#include "vorn/platform/data_access.h"
#include "vorn/platform/error_codes.h"

namespace vorn::test {

using platform::DataSession;
using platform::ExecResult;
using platform::NoParameters;
using platform::Row;
using platform::SqlKind;
using platform::TypedRef;
namespace errc = platform::errc;
using Rows = std::vector<std::vector<std::string>>;

inline ExecResult run(const std::string& session, const std::string& sql,
                      SqlKind kind = SqlKind::Write) {
    DataSession s(session.c_str());
    return s.execute(platform::makeStatementId("dal_test", "run", __LINE__), kind, sql,
                     NoParameters{});
}

inline TypedRef rowTarget(Row& row) {
    TypedRef ref;
    ref.type.code = platform::typecode::kRowTarget;
    ref.object = &row;
    return ref;
}

// Every field of every row of one open read.
inline Rows fetchAll(DataSession& s) {
    Rows rows;
    Row row;
    ExecResult status;
    while (s.fetchRow(status, rowTarget(row), 100)) {
        rows.emplace_back(row.begin(), row.end());
    }
    EXPECT_TRUE(status.ok()) << status.detail().value_or("");
    return rows;
}

inline Rows query(const std::string& session, const std::string& sql) {
    DataSession s(session.c_str());
    const ExecResult status = s.execute("dal_test:query:0", SqlKind::Read, sql, NoParameters{});
    EXPECT_TRUE(status.ok()) << sql << ": " << status.detail().value_or("");
    return fetchAll(s);
}

inline std::string detailOf(const ExecResult& status) {
    return status.detail().value_or("");
}

// Each test binds a session name of its own to a file in a fresh directory.
class DalTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_session = std::string(info->test_suite_name()) + "." + info->name();
        ASSERT_EQ(bindDataSource(m_session, "sqlite:" + m_dir.file("store.db")), 0U);
    }
    void TearDown() override { unbindDataSource(m_session); }

    // Creates table t(id INTEGER PRIMARY KEY, name TEXT) with rows 1 "one", 2 "two".
    void seed() {
        ASSERT_TRUE(run(m_session, "create table t(id integer primary key, name text)").ok());
        ASSERT_TRUE(run(m_session, "insert into t values(1, 'one'), (2, 'two')").ok());
    }
    Rows seededRows() const { return {{"1", "one"}, {"2", "two"}}; }
    Rows all(const std::string& table = "t") const {
        return query(m_session, "select * from " + table + " order by 1");
    }

    ScratchDir m_dir;
    std::string m_session;
};

}  // namespace vorn::test

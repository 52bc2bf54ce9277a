#pragma once

#include <gtest/gtest.h>

#include <string>

#include "dal_session.h"
#include "scratch_dir.h"

namespace vorn::test {

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

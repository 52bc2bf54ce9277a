#pragma once

// Tests below the library's public classes: calls on the data-access layer as
// the executor makes them, each test on a fresh store of its own.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "exec/platform/type_registry.h"
#include "raw_sqlite.h"
#include "scratch_dir.h"
#include "test_backend.h"
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

inline std::string detailOf(const ExecResult& status) {
    return status.detail().value_or("");
}

inline ExecResult run(const std::string& session, const std::string& sql,
                      SqlKind kind = SqlKind::Write) {
    return DataSession(session.c_str()).execute("dal_test:run:0", kind, sql, NoParameters{});
}

inline TypedRef rowTarget(Row& row) {
    return TypedRef{{platform::typecode::kRowTarget, 0, nullptr}, &row};
}

// Opens a read on s; asserts that it started.
inline void open(DataSession& s, const std::string& sql) {
    const ExecResult status = s.execute("dal_test:open:0", SqlKind::Read, sql, NoParameters{});
    ASSERT_TRUE(status.ok()) << sql << ": " << detailOf(status);
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

// The first row of a read, fetched into a target that takes a store's
// integers and reals as numbers.
inline Row firstRowAsNumbers(const std::string& session, const std::string& sql) {
    DataSession s(session.c_str());
    open(s, sql);
    Row row;
    TypedRef target = rowTarget(row);
    target.type.flags |= platform::kFlagNumbersAsValues;
    ExecResult status;
    EXPECT_TRUE(s.fetchRow(status, target, 100)) << sql << ": " << detailOf(status);
    return row;
}

inline Rows query(const std::string& session, const std::string& sql) {
    DataSession s(session.c_str());
    open(s, sql);
    return fetchAll(s);
}

// The same query on another thread, i.e. on another connection.
inline Rows queryElsewhere(const std::string& session, const std::string& sql) {
    Rows rows;
    std::thread([&] { rows = query(session, sql); }).join();
    return rows;
}

// A read of the numbers 1 to n, for both stores.
inline std::string series(int n) {
    return "with recursive g(v) as (select 1 union all select v + 1 from g where v < " +
           std::to_string(n) + ") select v from g";
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

inline ExecResult batch(const std::string& session, const std::string& sql, const TypedRef& params,
                        SqlKind kind = SqlKind::Batch) {
    return DataSession(session.c_str()).execute("dal_test:batch:0", kind, sql, params);
}

// What a store answers where stores may differ.
struct StoreDialect {
    std::uint64_t noTransaction;  // commit or rollback without a transaction: 0 when allowed
    std::uint64_t nestedBegin;    // begin inside a transaction
    std::uint64_t unique;         // UNIQUE violation
    std::uint64_t missingTable;
};

// Each test binds a session name of its own to a fresh store: a file in a
// scratch directory on SQLite, a schema of its own on the PostgreSQL server,
// a database of its own on the MariaDB server (skipped when no server was
// started). The contract suite takes the store
// from $VORN_TEST_BACKEND; a backend's own tests name it.
class DalTest : public ::testing::Test {
  protected:
    explicit DalTest(Backend backend = backendUnderTest()) : m_backend(backend) {}

    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_session = std::string(info->test_suite_name()) + "." + info->name();
        if (m_backend == Backend::Sqlite) {
            m_url = "sqlite:" + m_dir.file("store.db");
        } else if (m_backend == Backend::Mariadb) {
            setUpMariadb();
            if (m_url.empty()) {
                return;
            }
        } else {
            if (postgresUrl().empty()) {
                GTEST_SKIP() << kNoServer;
            }
            m_schema = uniqueSchemaName();
            ASSERT_TRUE(adminExecute("create schema " + m_schema));
            m_url = postgresUrlForSchema(m_schema);
        }
        ASSERT_EQ(bindDataSource(m_session, m_url), 0U);
        prepare();
    }
    // What every test of a suite starts from, made once the store is bound.
    virtual void prepare() {}
    void TearDown() override {
        unbindDataSource(m_session);
        if (!m_schema.empty() && m_backend == Backend::Mariadb) {
#ifdef VORN_TEST_HAVE_MARIADB
            mariadbAdminExecute("drop database " + m_schema);
#endif
        } else if (!m_schema.empty()) {
            adminExecute("drop schema " + m_schema + " cascade");
        }
    }
    // A database of its own on the MariaDB server; m_url stays empty when the
    // test is skipped or failed.
    void setUpMariadb() {
#ifdef VORN_TEST_HAVE_MARIADB
        if (mariadbUrl().empty()) {
            GTEST_SKIP() << kNoMariadbServer;
        }
        m_schema = uniqueSchemaName();
        std::string error;
        ASSERT_TRUE(mariadbAdminExecute("create database " + m_schema, &error)) << error;
        m_url = withDatabase(mariadbUrl(), m_schema);
#else
        GTEST_SKIP() << "this build has no libmariadb for the tests' set-up";
#endif
    }

    bool onPg() const {
        return m_backend == Backend::Postgres;
    }
    StoreDialect dialect() const {
        if (m_backend == Backend::Mariadb) {
            const auto my = [](std::uint64_t errnum) {
                return platform::kMariadbCodeMarker | errnum;
            };
            return {0, 0, my(1062), my(1146)};
        }
        if (onPg()) {
            const auto pg = [](const char* sqlstate) {
                return platform::pgCodeFromSqlstate(sqlstate);
            };
            return {0, 0, pg("23505"), pg("42P01")};
        }
        return {1, 1, 2067, 1};
    }

    // Creates table t(id integer primary key, name text) with rows 1 "one", 2 "two".
    void seed() {
        ASSERT_TRUE(run(m_session, "create table t(id integer primary key, name text)").ok());
        ASSERT_TRUE(run(m_session, "insert into t values(1, 'one'), (2, 'two')").ok());
    }
    static Rows seededRows() {
        return {{"1", "one"}, {"2", "two"}};
    }
    // A TEMP table lives as long as its connection: whether this thread still
    // has the connection that made its marker.
    void markConnection() const {
        ASSERT_TRUE(run(m_session, "create temporary table marker(v integer)").ok());
    }
    bool sameConnection() const {
        return run(m_session, "select * from marker").ok();
    }
    Rows all(const std::string& table = "t") const {
        return query(m_session, "select * from " + table + " order by 1");
    }

    Backend m_backend;
    ScratchDir m_dir;
    std::string m_session;
    std::string m_url;  // the store's URL, bound to m_session
    std::string m_schema;
};

// A backend's own tests.
class SqliteTest : public DalTest {
  protected:
    SqliteTest() : DalTest(Backend::Sqlite) {}

    // The rows of sql read by a handle of the test's own from the file at
    // path, as the next program to open it would read them; {{"!" + error}}
    // when that fails.
    static Rows rawRows(const std::string& path, const std::string& sql) {
        return RawSqlite(path, SQLITE_OPEN_READONLY).rows(sql);
    }
};
class MariadbTest : public DalTest {
  protected:
    MariadbTest() : DalTest(Backend::Mariadb) {}
    static std::uint64_t myCode(std::uint64_t errnum) {
        return platform::kMariadbCodeMarker | errnum;
    }
};
class PgTest : public DalTest {
  protected:
    PgTest() : DalTest(Backend::Postgres) {}
    static std::uint64_t pgCode(const char* sqlstate) {
        return platform::pgCodeFromSqlstate(sqlstate);
    }
    // The rows of table committed so far, as another connection counts them.
    std::string committedCount(const std::string& table) const {
        const Rows rows = queryElsewhere(m_session, "select count(*) from " + table);
        return rows.empty() ? "?" : rows[0][0];
    }
    // Reads up to most rows of s; returns how many it read and leaves the status.
    static long readRows(DataSession& s, ExecResult& status, long most = -1) {
        Row row;
        long rows = 0;
        while ((most < 0 || rows < most) && s.fetchRow(status, rowTarget(row), 100)) {
            ++rows;
        }
        return rows;
    }
};

}  // namespace vorn::test

#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cctype>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "scratch_dir.h"
#include "test_backend.h"
#include "vorn/vorn.h"

namespace vorn::test {

using Rows = std::vector<std::vector<std::string>>;

// The database object of a guard of its own, for the life of the object.
struct Database {
    explicit Database(bool useProcessSessionName = false)
        : guard("TaskDB", db, useProcessSessionName) {}
    CVORN* operator->() const { return db; }

    CVORN* db = nullptr;
    GuardDB guard;
};

// Runs a statement through a fresh guard; returns the executor's code.
inline unsigned long runStatement(const CVORNBase& statement, bool useProcessSessionName = false) {
    return Database(useProcessSessionName)->execWriteSQL(statement);
}

inline CVORNsqlstr sqlText(const std::string& sql) {
    CVORNsqlstr statement;
    statement.assign(sql);
    return statement;
}

// Runs one raw statement through a fresh guard; returns the executor's code.
inline unsigned long runWrite(const std::string& sql, bool useProcessSessionName = false) {
    return runStatement(sqlText(sql), useProcessSessionName);
}

// Reads every row of a statement, through its own guard, as text fields. The
// executor's code goes to code where given; elsewhere it must be 0.
inline Rows readRows(const CVORNBase& statement, std::size_t columns, unsigned long* code = nullptr,
                     bool useProcessSessionName = false) {
    Database db(useProcessSessionName);
    CVORNReader reader;
    Rows rows;
    const unsigned long result = db->execReadSQL(statement, reader);
    if (code != nullptr) {
        *code = result;
    } else {
        EXPECT_EQ(result, 0u) << statement.toString();
    }
    while (result == 0 && reader.hasNextElement()) {
        std::vector<std::string> row(columns);
        for (auto& field : row) {
            reader >> field;
        }
        rows.push_back(row);
    }
    return rows;
}

// Reads every row of a raw query as text fields.
inline Rows runQuery(const std::string& sql, std::size_t columns,
                     bool useProcessSessionName = false) {
    return readRows(sqlText(sql), columns, nullptr, useProcessSessionName);
}

// The ids a selector returns, in its order.
inline std::vector<long> selectedIds(const CVORNSelector& selector) {
    std::vector<long> out;
    for (const auto& row : readRows(selector, 1)) {
        out.push_back(std::stol(row[0]));
    }
    return out;
}

// select id from table where <condition> order by id
inline CVORNSelector idsWhere(const std::string& table, const CVORNCriterion& condition) {
    CVORNSelector selector;
    selector.table(table);
    selector.select("id");
    selector.where(condition);
    selector.orderBy("id", true);
    return selector;
}

// A raw query run through its own guard, with the reader left open for the
// test to pull rows from.
struct OpenQuery {
    explicit OpenQuery(const std::string& sql) : statement(sqlText(sql)) {
        code = db->execReadSQL(statement, reader);
    }

    Database db;
    CVORNsqlstr statement;
    CVORNReader reader;
    unsigned long code = 0;
};

// Whether two batch columns hold the same type and values.
inline bool sameColumn(const BaseTypeVector& a, const BaseTypeVector& b) {
    return a.m_type == b.m_type && a.m_strVec == b.m_strVec && a.m_longVec == b.m_longVec &&
           a.m_ulongVec == b.m_ulongVec && a.m_floatVec == b.m_floatVec &&
           a.m_doubleVec == b.m_doubleVec;
}

// The number sql reads, on a session name of its own bound to url: another
// data source than the test's, on a connection of its own. -1 when it fails.
inline long countOn(const char* session, const std::string& url, const std::string& sql) {
    long count = -1;
    if (bindDataSource(session, url) != 0) {
        return count;
    }
    CVORNReader reader;
    platform::DataSession* s = reader.initializeSession(session);
    if (s != nullptr &&
        s->execute("test:count:0", platform::SqlKind::Read, sql, platform::NoParameters{}).ok()) {
        reader >> count;
    }
    reader.clear();
    return count;
}

// Every test starts on empty stores. On SQLite each test gets its own data
// directory ("<dir>/<session name>.db"); on PostgreSQL each session name is
// bound to a schema of its own, dropped after the test.
class StoreTest : public ::testing::Test {
  protected:
    static constexpr const char* kSessions[] = {"default", "NeBackupDB", "NeUpgradeDB"};

    void SetUp() override {
        ::setenv("VORN_DATA_DIR", m_dir.path().c_str(), 1);
        if (onPostgres()) {
            makePgStores();
        }
        if (!IsSkipped() && !HasFatalFailure()) {
            prepare();
        }
    }
    // What every test of a suite starts from, made once the stores are there.
    virtual void prepare() {}

    void makePgStores() {
        if (postgresUrl().empty()) {
            GTEST_SKIP() << kNoServer;
        }
        const std::string prefix = uniqueSchemaName();
        for (const char* session : kSessions) {
            // Lower case: search_path names are folded to lower case.
            std::string schema = prefix + "_" + session;
            for (char& c : schema) {
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            }
            PgScratchStore store;
            ASSERT_TRUE(makePgScratchStore(schema, store));
            m_schemas[session] = schema;
            m_stores[session] = store;
            ASSERT_EQ(bindDataSource(session, store.url), 0u);
        }
    }

    void TearDown() override {
        platform::setProcessIdSource(nullptr);
        ::unsetenv("VORN_DATA_DIR");
        for (const auto& [session, store] : m_stores) {
            unbindDataSource(session);
            closeAllConnections();  // a database goes only once nobody uses it
            adminExecute(store.drop);
        }
        m_schemas.clear();
        m_stores.clear();
    }

    // Table kept(id, name) with three rows: what a failing call must leave.
    static void seedKept() {
        ASSERT_EQ(runWrite("create table kept(id integer primary key, name text)"), 0u);
        ASSERT_EQ(runWrite("insert into kept values(1, 'a'), (2, 'b'), (3, 'c')"), 0u);
    }
    static Rows keptRows() { return runQuery("select id, name from kept order by id", 2); }
    static Rows seededKept() { return {{"1", "a"}, {"2", "b"}, {"3", "c"}}; }

    // Whether anything was ever written to the store of a session name.
    bool storeUsed(const std::string& sessionName) const {
        if (!onPostgres()) {
            return std::filesystem::exists(m_dir.file(sessionName + ".db"));
        }
        const auto found = m_stores.find(sessionName);
        if (found == m_stores.end()) {
            return false;
        }
        // Asked through a session name of its own bound to the same store.
        static const char* const kProbe = "vorn_test_probe";
        const std::string schema = poolerUrl().empty() ? m_schemas.at(sessionName) : "public";
        const long tables = countOn(
            kProbe, found->second.url,
            "select count(*) from information_schema.tables where table_schema = '" + schema + "'");
        unbindDataSource(kProbe);
        EXPECT_GE(tables, 0) << "the probe of " << sessionName << " failed";
        return tables > 0;
    }

    ScratchDir m_dir;
    std::map<std::string, std::string> m_schemas;  // session name -> schema (or database)
    std::map<std::string, PgScratchStore> m_stores;
};

// A schema of its own on the PostgreSQL test server (skipped when none was
// started), dropped after the test with what "default" was bound to.
class PgSchemaTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (postgresUrl().empty()) {
            GTEST_SKIP() << kNoServer;
        }
        m_schema = uniqueSchemaName();
        ASSERT_TRUE(adminExecute("create schema " + m_schema));
    }
    void TearDown() override {
        if (m_schema.empty()) {
            return;
        }
        unbindDataSource("default");
        closeAllConnections();
        // The admin connection of this thread may have met a restart.
        const std::string drop = "drop schema " + m_schema + " cascade";
        if (!adminExecute(drop)) {
            adminExecute(drop);
        }
    }

    std::string m_schema;
};

}  // namespace vorn::test

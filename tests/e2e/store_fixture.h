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

// Runs one raw statement through a fresh guard; returns the executor's code.
inline unsigned long runWrite(const std::string& sql, bool useProcessSessionName = false) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, useProcessSessionName);
    CVORNsqlstr statement;
    statement.assign(sql);
    return db->execWriteSQL(statement);
}

// Runs a built statement through a fresh guard; returns the executor's code.
inline unsigned long runStatement(const CVORNBase& statement) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    return db->execWriteSQL(statement);
}

// The ids a selector returns, in its order.
inline std::vector<long> selectedIds(const CVORNSelector& selector) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    CVORNReader reader;
    std::vector<long> out;
    EXPECT_EQ(db->execReadSQL(selector, reader), 0u) << selector.toString();
    while (reader.hasNextElement()) {
        long id = 0;
        reader >> id;
        out.push_back(id);
    }
    return out;
}

// A raw query run through its own guard, with the reader left open for the
// test to pull rows from.
struct OpenQuery {
    explicit OpenQuery(const std::string& sql) : guard("TaskDB", db, false) {
        statement.assign(sql);
        code = db->execReadSQL(statement, reader);
    }

    CVORN* db = nullptr;
    GuardDB guard;
    CVORNsqlstr statement;
    CVORNReader reader;
    unsigned long code = 0;
};

// Reads every row of a raw query as text fields.
inline Rows runQuery(const std::string& sql, std::size_t columns,
                     bool useProcessSessionName = false) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, useProcessSessionName);
    CVORNsqlstr statement;
    statement.assign(sql);
    CVORNReader reader;
    Rows rows;
    if (db->execReadSQL(statement, reader) != 0) {
        ADD_FAILURE() << "query failed: " << sql;
        return rows;
    }
    while (reader.hasNextElement()) {
        std::vector<std::string> row(columns);
        for (auto& field : row) {
            reader >> field;
        }
        rows.push_back(row);
    }
    return rows;
}

// Every test starts on empty stores. On SQLite each test gets its own data
// directory ("<dir>/<session name>.db"); on PostgreSQL each session name is
// bound to a schema of its own, dropped after the test.
class StoreTest : public ::testing::Test {
  protected:
    static constexpr const char* kSessions[] = {"default", "NeBackupDB", "NeUpgradeDB"};

    void SetUp() override {
        ::setenv("VORN_DATA_DIR", m_dir.path().c_str(), 1);
        if (!onPostgres()) {
            return;
        }
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
        EXPECT_EQ(bindDataSource(kProbe, found->second.url), 0u);
        const std::string schema = poolerUrl().empty() ? m_schemas.at(sessionName) : "public";
        CVORNReader reader;
        long tables = 0;
        platform::DataSession* session = reader.initializeSession(kProbe);
        if (session != nullptr &&
            session
                ->execute("test:probe:0", platform::SqlKind::Read,
                          "select count(*) from information_schema.tables where table_schema = '" +
                              schema + "'",
                          platform::NoParameters{})
                .ok()) {
            reader >> tables;
        }
        reader.clear();
        unbindDataSource(kProbe);
        return tables != 0;
    }

    ScratchDir m_dir;
    std::map<std::string, std::string> m_schemas;  // session name -> schema (or database)
    std::map<std::string, PgScratchStore> m_stores;
};

}  // namespace vorn::test

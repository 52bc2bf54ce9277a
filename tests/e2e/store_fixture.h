#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "scratch_dir.h"
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

// Every test gets its own data directory, so the embedded default store
// ("<dir>/<session name>.db") starts empty.
class StoreTest : public ::testing::Test {
protected:
    void SetUp() override { ::setenv("VORN_DATA_DIR", m_dir.path().c_str(), 1); }
    void TearDown() override {
        platform::setProcessIdSource(nullptr);
        ::unsetenv("VORN_DATA_DIR");
    }

    std::string dataFile(const std::string& sessionName) const {
        return m_dir.file(sessionName + ".db");
    }

    ScratchDir m_dir;
};

}  // namespace vorn::test

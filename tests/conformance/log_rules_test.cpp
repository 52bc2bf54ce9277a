// Which calls of the executor log, at which level, with which code, location
// and text, and which never log: one row per call and outcome, checked against
// everything the log received, on both stores. A refused or failed call must
// also leave what was stored before as it was.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "log_capture.h"
#include "render_case.h"
#include "store_fixture.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

using platform::LogLevel;

struct Line {
    LogLevel level;
    std::uint32_t code;  // of an error; a failed call's line carries the code the call returned
    const char* function;
    int line;
    const char* sqliteText;  // the text on SQLite; on PostgreSQL too unless pgText is given
    const char* pgText = nullptr;
    const char* unit = "MiraDB";
};

struct LogRule {
    const char* name;
    std::function<unsigned long(CVORN&)> call;
    std::uint64_t sqliteCode;
    const char* pgCode;  // a SQLSTATE, "" for 0, or nullptr for the SQLite code
    std::vector<Line> lines;
    bool reads = false;  // traced at its entry
};
VORN_PRINT_BY_NAME(LogRule);

unsigned long write(CVORN& db, const char* sql) {
    return db.execWriteSQL(sqlText(sql));
}

unsigned long read(CVORN& db, const char* sql) {
    CVORNReader reader;
    return db.execReadSQL(sqlText(sql), reader);
}

// A batch into table, with columns of rowsA and rowsB values (none: no column).
unsigned long batch(CVORN& db, const char* table, int rowsA, int rowsB) {
    BatchInserter inserter;
    inserter.table(table);
    for (int i = 0; i < rowsA; ++i) {
        inserter["a"] << i;
    }
    for (int i = 0; i < rowsB; ++i) {
        inserter["b"] << std::string("x");
    }
    return db.ExecBatchInserter(inserter);
}

// The code a rule's call returns on the store under test.
std::uint64_t codeOf(const LogRule& rule) {
    if (rule.pgCode == nullptr || !onPostgres()) {
        return rule.sqliteCode;
    }
    return *rule.pgCode == '\0' ? 0 : storeCode(rule.sqliteCode, rule.pgCode);
}

// clang-format off
const LogRule kRules[] = {
    {"WriteOfEmptyText", [](CVORN& db) { return db.execWriteSQL(CVORNsqlstr()); }, 1, nullptr,
     {{LogLevel::Error, 1, "execWriteSQL", 80, "[VORNLib]execWriteSQL! strSQL is empty string!"}}},
    {"ReadOfEmptyText", [](CVORN& db) { CVORNReader r; return db.execReadSQL(CVORNsqlstr(), r); },
     1, nullptr,
     {{LogLevel::Error, 1, "execReadSQL", 58, "[VORNLib]Exception! strSQL is empty string!"}}, true},
    {"WriteFailed", [](CVORN& db) { return write(db, "insert into nowhere values(2)"); }, 1, "42P01",
     {{LogLevel::Info, 0, "execWriteSQL", 86, "[VORNLib]no such table: nowhere",
       "[VORNLib]relation \"nowhere\" does not exist"}}},
    {"ReadFailed", [](CVORN& db) { return read(db, "select * from nowhere"); }, 1, "42P01",
     {{LogLevel::Info, 0, "execReadSQL", 65, "[VORNLib]no such table: nowhere",
       "[VORNLib]relation \"nowhere\" does not exist"}}, true},
    {"WriteSucceeded", [](CVORN& db) { return write(db, "insert into t(id) values(1)"); }, 0, nullptr, {}},
    {"ReadSucceeded", [](CVORN& db) { return read(db, "select id from kept"); }, 0, nullptr, {}, true},
    {"BeginAndCommit", [](CVORN& db) { db.beginTransaction(); write(db, "insert into t(id) values(1)");
         return db.commitTransaction(); }, 0, nullptr, {}},
    {"BeginAndRollback", [](CVORN& db) { db.beginTransaction(); return db.rollbackTransaction(); },
     0, nullptr, {}},
    // The store's answer is returned as it is: SQLite refuses, PostgreSQL only warns.
    {"CommitWithoutTransaction", [](CVORN& db) { return db.commitTransaction(); }, 1, "", {}},
    {"RollbackWithoutTransaction", [](CVORN& db) { return db.rollbackTransaction(); }, 1, "",
     {}},
    {"BeginInsideTransaction", [](CVORN& db) { db.beginTransaction();
         const unsigned long code = db.beginTransaction(); db.rollbackTransaction(); return code; },
     1, "", {}},
    {"BatchWithoutColumns", [](CVORN& db) { return batch(db, "t", 0, 0); }, 0, nullptr,
     {{LogLevel::Info, 0, "ExecBatchInserter", 105, "[VORNLib]ExecBatchInserter! paramMap is empty!"}}},
    {"BatchOfUnequalColumns", [](CVORN& db) { return batch(db, "t", 3, 2); }, 1, nullptr,
     {{LogLevel::Error, 1, "ExecBatchInserter", 141, "[VORNLib]ExecBatchInserter! paramMap is error!"}}},
    {"BatchFailed", [](CVORN& db) { return batch(db, "nowhere", 2, 0); }, 1, "42P01",
     {{LogLevel::Info, 0, "ExecBatchInserter", 149, "[VORNLib]no such table: nowhere",
       "[VORNLib]relation \"nowhere\" does not exist"}}},
    {"BatchSucceeded", [](CVORN& db) { return batch(db, "t", 2, 2); }, 0, nullptr, {}},
    {"BatchValueOfAnotherType", [](CVORN&) { BatchInserter b; b["a"] << 1 << 1U; return 0UL; }, 0,
     nullptr,
     {{LogLevel::Error, 2, "operator<<", 118, "[VORNLib]typeName is error.", nullptr, "BatchInserter"}}},
};
// clang-format on

class LogRules : public StoreTest, public ::testing::WithParamInterface<LogRule> {};

TEST_P(LogRules, LogExactlyTheseLines) {
    const LogRule& rule = GetParam();
    ASSERT_EQ(runWrite("create table kept(id integer)"), 0u);
    ASSERT_EQ(runWrite("insert into kept values(7)"), 0u);
    ASSERT_EQ(runWrite("create table t(id integer, a integer, b text)"), 0u);
    Database db;
    LogCapture log;

    const std::uint64_t expectedCode = codeOf(rule);
    EXPECT_EQ(rule.call(*db.db), expectedCode);

    std::vector<platform::LogRecord> lines;
    std::size_t traces = 0;
    for (const auto& record : log.records()) {
        if (record.level != LogLevel::Trace) {
            lines.push_back(record);
        } else if (record.unit == "MiraDB") {
            EXPECT_EQ(record.function, "execReadSQL");
            EXPECT_EQ(record.line, 55);
            ++traces;
        }
    }
    EXPECT_EQ(traces != 0, rule.reads) << "only reads are traced";
    ASSERT_EQ(lines.size(), rule.lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const Line& want = rule.lines[i];
        const auto& got = lines[i];
        EXPECT_EQ(got.level, want.level);
        EXPECT_EQ(got.unit, want.unit);
        EXPECT_EQ(got.function, want.function);
        EXPECT_EQ(got.line, want.line);
        EXPECT_EQ(got.text, onPostgres() && want.pgText != nullptr ? want.pgText : want.sqliteText);
        if (want.level == LogLevel::Error) {
            EXPECT_EQ(got.code, want.code);
        } else {
            EXPECT_EQ(got.returnedCode, expectedCode);
        }
    }
    EXPECT_EQ(runQuery("select id from kept", 1), (Rows{{"7"}}));
}

INSTANTIATE_TEST_SUITE_P(Executor, LogRules, ::testing::ValuesIn(kRules),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace vorn::test

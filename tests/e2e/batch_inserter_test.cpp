// Collecting batch columns: type rules, rendering, clear() and GetParam().
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "log_capture.h"
#include "store_fixture.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

using platform::LogLevel;
using Columns = std::map<std::string, BaseTypeVector>;

Columns columnsOf(const BatchInserter& batch) {
    Columns columns;
    batch.GetParam(columns);
    return columns;
}

TEST(BatchInserterColumns, SignedTypesShareOneColumnAsDoUnsignedTypes) {
    BatchInserter batch;
    batch["s"] << 1 << 2L << true << short{-3} << false;
    batch["u"] << 7u << 8UL << static_cast<unsigned short>(9);
    batch["f"] << 1.5f;
    batch["d"] << 2.5;
    batch["t"] << std::string("it's") << "plain";

    // Only the vector of the column's own type holds values; text values are
    // kept as they are (only column names are escaped).
    using B = BaseTypeVector;
    const Columns columns = columnsOf(batch);
    EXPECT_EQ(columns.size(), 5u);
    EXPECT_TRUE(sameColumn(columns.at("s"), B{B::TYPE_SIGNED, {}, {1, 2, 1, -3, 0}, {}, {}, {}}));
    EXPECT_TRUE(sameColumn(columns.at("u"), B{B::TYPE_UNSIGNED, {}, {}, {7, 8, 9}, {}, {}}));
    EXPECT_TRUE(sameColumn(columns.at("f"), B{B::TYPE_FLOAT, {}, {}, {}, {1.5f}, {}}));
    EXPECT_TRUE(sameColumn(columns.at("d"), B{B::TYPE_DOUBLE, {}, {}, {}, {}, {2.5}}));
    EXPECT_TRUE(sameColumn(columns.at("t"), B{B::TYPE_STRING, {"it's", "plain"}, {}, {}, {}, {}}));
}

// A value of another type than the column's is dropped and logged with its
// type code; the column stays as it was (an unsigned value into a signed
// column: tests/conformance/log_rules_test.cpp).
TEST(BatchInserterColumns, AValueOfAnotherTypeIsDroppedAndLoggedWithItsTypeCode) {
    using Put = void (*)(BatchInserter&);
    const struct {
        const char* name;
        Put firstValue;
        Put wrongValue;
        std::uint32_t code;
        int line;
    } rejections[] = {
        {"StringIntoSigned", [](BatchInserter& b) { b << 1L; },
         [](BatchInserter& b) { b << std::string("x"); }, 0, 70},
        {"SignedIntoUnsigned", [](BatchInserter& b) { b << 1UL; },
         [](BatchInserter& b) { b << 1L; }, 1, 130},
        {"BoolIntoString", [](BatchInserter& b) { b << std::string("x"); },
         [](BatchInserter& b) { b << true; }, 1, 58},
        {"ShortIntoFloat", [](BatchInserter& b) { b << 1.0f; },
         [](BatchInserter& b) { b << short{1}; }, 1, 82},
        {"UnsignedShortIntoDouble", [](BatchInserter& b) { b << 1.0; },
         [](BatchInserter& b) { b << static_cast<unsigned short>(1); }, 2, 94},
        {"IntIntoString", [](BatchInserter& b) { b << std::string("x"); },
         [](BatchInserter& b) { b << 1; }, 1, 106},
        {"UnsignedLongIntoFloat", [](BatchInserter& b) { b << 1.0f; },
         [](BatchInserter& b) { b << 1UL; }, 2, 142},
        {"FloatIntoDouble", [](BatchInserter& b) { b << 1.0; }, [](BatchInserter& b) { b << 1.0f; },
         3, 154},
        {"DoubleIntoFloat", [](BatchInserter& b) { b << 1.0f; }, [](BatchInserter& b) { b << 1.0; },
         4, 166},
    };
    for (const auto& r : rejections) {
        SCOPED_TRACE(r.name);
        BatchInserter batch;
        batch.table("T");
        batch["c"];
        r.firstValue(batch);
        const Columns before = columnsOf(batch);
        LogCapture log;
        r.wrongValue(batch);
        const auto errors = log.at(LogLevel::Error);
        EXPECT_EQ(errors.size(), 1u);
        for (const auto& e : errors) {
            EXPECT_EQ(std::tie(e.code, e.unit, e.function, e.line, e.text),
                      std::make_tuple(r.code, "BatchInserter", "operator<<", r.line,
                                      "[VORNLib]typeName is error."));
        }
        EXPECT_TRUE(sameColumn(columnsOf(batch).at("c"), before.at("c")));
    }
}

TEST(BatchInserterRendering, PlaceholdersFollowTheByteWiseOrderOfTheColumnNames) {
    struct Case {
        std::vector<std::string> selected;
        const char* table;
        const char* expected;
    };
    const Case cases[] = {
        {{"name", "id"}, "T_ALARM", "insert into T_ALARM (id, name) values({id}, {name})"},
        {{"z", "a"}, "T", "insert into T (a, z) values({a}, {z})"},
        {{"a", "B"}, "T", "insert into T (B, a) values({B}, {a})"},
        {{"cnt"}, "T_X", "insert into T_X (cnt) values({cnt})"},
        {{}, "T_X", "insert into T_X () values()"},
        {{"a"}, "", "insert into  (a) values({a})"},
        {{"a'b"}, "T", "insert into T (a''b) values({a''b})"},
        {{""}, "T", "insert into T () values({})"},
        {{"", "b"}, "T", "insert into T (, b) values({}, {b})"},
    };
    for (const auto& c : cases) {
        BatchInserter batch;
        if (*c.table != '\0') {
            batch.table(c.table);
        }
        for (const auto& column : c.selected) {
            batch[column] << 1;
        }
        EXPECT_EQ(batch.toString(), c.expected);
    }
}

TEST(BatchInserterState, ClearKeepsOnlyTheTableAndGetParamReplacesTheTarget) {
    BatchInserter batch;
    EXPECT_EQ(batch.table("T").getTableName(), "T");
    batch["a"] << 1 << 2;
    batch["b"];  // selected, without values: not part of the statement
    EXPECT_EQ(batch.toString(), "insert into T (a) values({a})");
    batch.clear();
    EXPECT_EQ(batch.toString(), "insert into T () values()");
    // After clear() no column is selected: a value goes to the unnamed column.
    batch << 5;
    EXPECT_EQ(batch.toString(), "insert into T () values({})");

    Columns target;
    target["stale"].m_strVec = {"x"};
    batch.GetParam(target);
    ASSERT_EQ(target.size(), 1u);
    EXPECT_EQ(target.begin()->first, "");
    target.begin()->second.m_longVec.push_back(6);
    EXPECT_EQ(columnsOf(batch).at("").m_longVec, (std::vector<std::int64_t>{5}));
}

TEST(BatchInserterState, ANullCStringThrowsAndLeavesTheColumnAsItWas) {
    BatchInserter batch;
    batch["t"] << "a";
    const char* missing = nullptr;
    EXPECT_THROW(batch << missing, std::logic_error);
    batch << "b";
    EXPECT_EQ(columnsOf(batch).at("t").m_strVec, (std::vector<std::string>{"a", "b"}));
}

}  // namespace
}  // namespace vorn::test

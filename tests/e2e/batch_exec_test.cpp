// Batches executed on every store: every column type and the values stored,
// the refusals, and atomicity.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "store_fixture.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

// What a caller can observe of a batch: its statement and its columns.
struct Snapshot {
    std::string sql;
    std::map<std::string, BaseTypeVector> columns;

    explicit Snapshot(const BatchInserter& batch) : sql(batch.toString()) {
        batch.GetParam(columns);
    }
    bool operator==(const Snapshot& other) const {
        return sql == other.sql &&
               std::equal(columns.begin(), columns.end(), other.columns.begin(),
                          other.columns.end(), [](const auto& a, const auto& b) {
                              return a.first == b.first && sameColumn(a.second, b.second);
                          });
    }
};

class BatchExecTest : public StoreTest {
  protected:
    unsigned long execute(const BatchInserter& batch) {
        Database db;
        const Snapshot before(batch);
        const unsigned long code = db->ExecBatchInserter(batch);
        EXPECT_TRUE(Snapshot(batch) == before) << "the caller's batch changed";
        return code;
    }
};

TEST_F(BatchExecTest, EveryColumnTypeRoundTripsExactly) {
    ASSERT_EQ(
        runWrite(
            "create table t(n integer, s text, i bigint, u bigint, f real, fd double precision, "
            "d double precision)"),
        0u);
    using I = std::numeric_limits<std::int64_t>;
    using U = std::numeric_limits<std::uint64_t>;
    using F = std::numeric_limits<float>;
    using D = std::numeric_limits<double>;
    // SQLite keeps any NUL-free bytes; PostgreSQL's text must be valid UTF-8.
    const std::string binary = onPostgres() ? "\xC3\xA9\xE2\x82\xAC\x01" : "\xC3\xA9\xFF\x01";
    const std::vector<std::string> texts{"it's",    "x'); DROP TABLE t; --", binary,
                                         "{s} {i}", "line\nbreak",           "a\"b\\{}, NULL"};
    const std::vector<long> signedValues{I::min(), I::max(), -1, 0, 1, 42};
    const std::vector<unsigned long> unsignedValues{
        0, U::max(), 9223372036854775808UL, 9223372036854775807UL, 1, 42};
    const std::vector<float> floats{0.1f, -F::max(), F::denorm_min(), 2.5f, F::min(), -0.0f};
    const std::vector<double> doubles{0.1, 1e300, -D::min(), 1.0 / 3.0, D::max(), D::denorm_min()};

    BatchInserter batch;
    batch.table("t");
    for (std::size_t row = 0; row < texts.size(); ++row) {
        batch["n"] << static_cast<int>(row);
        batch["s"] << texts[row];
        batch["i"] << signedValues[row];
        batch["u"] << unsignedValues[row];
        batch["f"] << floats[row];
        batch["fd"] << floats[row];
        batch["d"] << doubles[row];
    }
    ASSERT_EQ(execute(batch), 0u);

    OpenQuery query("select s, i, u, f, d from t order by n");
    ASSERT_EQ(query.code, 0u);
    CVORNReader& reader = query.reader;
    for (std::size_t row = 0; row < texts.size(); ++row) {
        SCOPED_TRACE(row);
        ASSERT_TRUE(reader.hasNextElement());
        std::string s;
        long i = 0;
        unsigned long u = 0;
        float f = 0;
        double d = 0;
        reader >> s >> i >> u >> f >> d;
        EXPECT_EQ(std::tie(s, i, u, f, d),
                  std::make_tuple(texts[row], signedValues[row], unsignedValues[row], floats[row],
                                  doubles[row]));
    }
    EXPECT_FALSE(reader.hasNextElement());
    // Stored, unsigned values above INT64_MAX keep their bits as signed
    // integers; a float is the double of its value.
    const Rows stored = runQuery("select u, fd from t order by n", 2);
    ASSERT_EQ(stored.size(), floats.size());
    for (std::size_t row = 0; row < stored.size(); ++row) {
        EXPECT_EQ(std::stoll(stored[row][0]), static_cast<long long>(unsignedValues[row]));
        EXPECT_EQ(std::strtod(stored[row][1].c_str(), nullptr), static_cast<double>(floats[row]))
            << stored[row][1];
    }
}

// The log lines of these calls are in tests/conformance/log_rules_test.cpp.
TEST_F(BatchExecTest, UnequalColumnsAreRefusedBeforeAnythingRuns) {
    ASSERT_EQ(runWrite("create table t(a text, b integer)"), 0u);
    ASSERT_EQ(runWrite("insert into t values('kept', 0)"), 0u);
    BatchInserter batch;
    batch.table("t");
    batch["a"] << 1 << 2 << 3;
    batch["b"] << 1 << 2;
    EXPECT_EQ(execute(batch), 1u);
    EXPECT_EQ(runQuery("select a, b from t", 2), (Rows{{"kept", "0"}}));
}

TEST_F(BatchExecTest, AnEmptyBatchSucceedsWithoutOpeningASession) {
    BatchInserter batch;
    batch.table("t");
    batch["selected but never filled"];
    EXPECT_EQ(execute(batch), 0u);
    EXPECT_FALSE(storeUsed("default"));
}

TEST_F(BatchExecTest, AFailingRowLeavesNoRowOfTheBatchBehind) {
    ASSERT_EQ(runWrite("create table t(id integer unique, name text)"), 0u);
    ASSERT_EQ(runWrite("insert into t values(5, 'kept')"), 0u);
    BatchInserter batch;
    batch.table("t");
    for (int id = 1; id <= 10; ++id) {  // 5 collides in the middle
        batch["id"] << id;
        batch["name"] << std::string("new");
    }
    EXPECT_EQ(execute(batch), storeCode(2067, "23505"));  // a unique violation
    EXPECT_EQ(runQuery("select id, name from t", 2), (Rows{{"5", "kept"}}));
}

TEST_F(BatchExecTest, ABatchJoinsTheCallersTransaction) {
    ASSERT_EQ(runWrite("create table t(id integer)"), 0u);
    BatchInserter batch;
    batch.table("t");
    batch["id"] << 1 << 2 << 3;
    Database db;

    ASSERT_EQ(db->beginTransaction(), 0u);
    ASSERT_EQ(execute(batch), 0u);
    EXPECT_EQ(runQuery("select count(*) from t", 1), (Rows{{"3"}}));
    ASSERT_EQ(db->rollbackTransaction(), 0u);
    EXPECT_EQ(runQuery("select count(*) from t", 1), (Rows{{"0"}}));

    // A failing batch inside a transaction takes back only its own rows.
    ASSERT_EQ(db->beginTransaction(), 0u);
    ASSERT_EQ(runWrite("insert into t values(100)"), 0u);
    BatchInserter broken;
    broken.table("missing");
    broken["id"] << 1;
    EXPECT_EQ(execute(broken), storeCode(1, "42P01"));
    ASSERT_EQ(execute(batch), 0u);
    ASSERT_EQ(db->commitTransaction(), 0u);
    EXPECT_EQ(runQuery("select count(*) from t", 1), (Rows{{"4"}}));
}

TEST_F(BatchExecTest, ManyRowsRunAsOneStatement) {
    ASSERT_EQ(runWrite("create table t(id integer, name text, value double precision)"), 0u);
    constexpr int kRows = 5000;
    BatchInserter batch;
    batch.table("t");
    for (int i = 0; i < kRows; ++i) {
        batch["id"] << i;
        batch["name"] << "row " + std::to_string(i);
        batch["value"] << i * 0.5;
    }
    ASSERT_EQ(execute(batch), 0u);
    EXPECT_EQ(
        runQuery("select count(*), sum(id), max(name), cast(sum(value) * 2 as integer) from t", 4),
        (Rows{{"5000", "12497500", "row 999", "12497500"}}));
}

}  // namespace
}  // namespace vorn::test

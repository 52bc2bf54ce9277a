// The reader's typed extraction of fields fetched from the embedded store.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <limits>
#include <string>
#include <tuple>

#include "store_fixture.h"
#include "vorn/diagnostics.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

class ReaderTest : public StoreTest {
  protected:
    // Stores one SQL literal in an untyped column and reads it back into a T
    // that starts as `initial`, with a fresh CVORNNull before the field.
    template <class T>
    std::pair<T, bool> readBack(const std::string& literal, T initial) {
        // An untyped SQLite column keeps each value's own type; PostgreSQL
        // stores the literal's text.
        EXPECT_EQ(runWrite(onPostgres() ? "create table if not exists v(x text)"
                                        : "create table if not exists v(x)"),
                  0u);
        EXPECT_EQ(runWrite("delete from v"), 0u);
        EXPECT_EQ(runWrite("insert into v values(" + literal + ")"), 0u);
        OpenQuery query("select x from v");
        EXPECT_EQ(query.code, 0u);
        CVORNNull null;
        T value = initial;
        query.reader >> null >> value;
        return {value, static_cast<bool>(null)};
    }
};

TEST_F(ReaderTest, IntegersKnowTheBooleanWordsButOtherWidthsDoNot) {
    struct Case {
        const char* literal;
        int asInt;
        unsigned int asUnsigned;
        long asLong;
        short asShort;
    };
    const Case cases[] = {
        {"'true'", 1, 1, 0, 0},  {"'TRUE'", 1, 1, 0, 0}, {"'false'", 0, 0, 0, 0},
        {"'FALSE'", 0, 0, 0, 0}, {"'True'", 0, 0, 0, 0}, {"42", 42, 42, 42, 42},
        {"' 7'", 7, 7, 7, 7},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.literal);
        EXPECT_EQ(readBack<int>(c.literal, -5), std::make_pair(c.asInt, false));
        EXPECT_EQ(readBack<unsigned int>(c.literal, 5u), std::make_pair(c.asUnsigned, false));
        EXPECT_EQ(readBack<long>(c.literal, -5L), std::make_pair(c.asLong, false));
        EXPECT_EQ(readBack<short>(c.literal, short{-5}), std::make_pair(c.asShort, false));
    }
}

// The limits of long, unsigned long, double and float, as the C functions
// read them: reader_numbers_test.cpp.
TEST_F(ReaderTest, NumbersReachTheLimitsOfTheirTypes) {
    EXPECT_EQ(readBack<int>("-2147483648", 0).first, INT_MIN);
    EXPECT_EQ(readBack<unsigned int>("4294967295", 0u).first, UINT_MAX);
    EXPECT_EQ(readBack<short>("-32768", short{0}).first, SHRT_MIN);
    EXPECT_EQ(readBack<unsigned short>("65535", static_cast<unsigned short>(0)).first, 65535);
    EXPECT_EQ(readBack<double>("-2.2250738585072014e-308", 0.0).first,
              -std::numeric_limits<double>::min());
    EXPECT_EQ(readBack<char>("'xyz'", '?').first, 'x');
}

TEST_F(ReaderTest, EmptyFieldsLeaveNumbersUnchangedAndMarkTheNull) {
    EXPECT_EQ(readBack<int>("NULL", 17), std::make_pair(17, true));
    EXPECT_EQ(readBack<unsigned int>("NULL", 17u), std::make_pair(17u, true));
    EXPECT_EQ(readBack<long>("''", 17L), std::make_pair(17L, true));
    EXPECT_EQ(readBack<unsigned long>("NULL", 17UL), std::make_pair(17UL, true));
    EXPECT_EQ(readBack<short>("NULL", short{17}), std::make_pair(short{17}, true));
    EXPECT_EQ(readBack<double>("NULL", 1.5), std::make_pair(1.5, true));
    EXPECT_EQ(readBack<float>("NULL", 1.5f), std::make_pair(1.5f, true));
    EXPECT_EQ(readBack<char>("NULL", '?'), std::make_pair('?', true));
}

TEST_F(ReaderTest, TextOfOneBlankReadsAsEmptyAndNull) {
    struct Case {
        const char* literal;
        std::string text;
        bool null;
    };
    const Case cases[] = {
        {"' '", "", true},
        {"'  '", "  ", false},
        {"NULL", "", true},
        {"''", "", true},
        {"'it''s'", "it's", false},
        {"'a b'", "a b", false},
        {"'\xC3\xA9\xE2\x82\xAC'", "\xC3\xA9\xE2\x82\xAC", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.literal);
        EXPECT_EQ(readBack<std::string>(c.literal, "previous"), std::make_pair(c.text, c.null));
    }
}

TEST_F(ReaderTest, MissingFieldsReadAsEmptyAndEveryRowStartsAtItsFirstField) {
    ASSERT_EQ(runWrite("create table t(a integer, b text, c double precision)"), 0u);
    ASSERT_EQ(runWrite("insert into t values(1, 'two', 3.5), (2, 'x', 0), (3, 'y', 0)"), 0u);
    OpenQuery query("select a, b, c from t order by a");
    ASSERT_EQ(query.code, 0u);
    CVORNReader& reader = query.reader;

    long a = 0;
    std::string b;
    double c = 0;
    long fourth = 99;
    CVORNNull watchesB;
    CVORNNull watchesFourth;
    // No explicit hasNextElement(): the first extraction fetches the first row.
    reader >> a >> watchesB >> b >> c >> watchesFourth >> fourth;
    EXPECT_EQ(std::tie(a, b, c, fourth), std::make_tuple(1L, "two", 3.5, 99L));
    EXPECT_FALSE(watchesB);
    EXPECT_TRUE(watchesFourth);
    EXPECT_EQ(reader.getNextField(), "");

    std::vector<long> firsts;
    while (reader()) {
        long first = 0;
        reader >> first;  // the other fields are left unread
        firsts.push_back(first);
    }
    EXPECT_EQ(firsts, (std::vector<long>{2, 3}));
}

TEST_F(ReaderTest, UnboundReaderYieldsNothing) {
    CVORNReader reader;
    int value = 5;
    std::string text = "kept";
    CVORNNull null;
    reader >> null >> value >> text;
    EXPECT_EQ(value, 5);
    EXPECT_EQ(text, "");
    EXPECT_TRUE(null);
    EXPECT_FALSE(reader.hasNextElement());
}

// The store fails at the 2,000th row of a read (the absolute value of the
// smallest 64-bit integer): the reader gets the 1,999 rows before it, in
// order, then the read ends with the store's code, also when a write ran
// between its rows; the write took effect and nothing stored is lost.
TEST_F(ReaderTest, AReadThatFailsAfterSomeRowsGivesThoseRowsThenItsCode) {
    ASSERT_EQ(runWrite("create table src(id integer, a bigint)"), 0u);
    ASSERT_EQ(runWrite("create table dst(id integer)"), 0u);
    ASSERT_EQ(runWrite("insert into src with recursive g(v) as (select 1 union all select v + 1 "
                       "from g where v < 3000) select v, case when v = 2000 then "
                       "-9223372036854775807 - 1 else v end from g"),
              0u);
    // Behind a transaction pooler a read outside a transaction is read whole:
    // the failure is the read's own, and no row comes.
    const bool readWhole = onPostgres() && !poolerUrl().empty();
    for (const bool writeBetween : {false, true}) {
        SCOPED_TRACE(writeBetween ? "a write between" : "read straight");
        OpenQuery query("select id, abs(a) from src");  // in the order stored
        if (readWhole) {
            EXPECT_NE(query.code, 0u);
            EXPECT_EQ(lastError().sqlstate, "22003");
            continue;
        }
        ASSERT_EQ(query.code, 0u);
        long next = 1;
        bool inOrder = true;
        while (query.reader.hasNextElement()) {
            long id = 0;
            long a = 0;
            query.reader >> id >> a;
            inOrder = inOrder && id == next && a == next;
            if (writeBetween && next == 10) {
                // On the reader's own database object.
                ASSERT_EQ(query.db->execWriteSQL(sqlText("insert into dst values(10)")), 0u);
            }
            ++next;
        }
        EXPECT_TRUE(inOrder);
        EXPECT_EQ(next, 2000);
        const ErrorInfo last = lastError();
        EXPECT_NE(last.code, 0u);
        EXPECT_EQ(last.sqlstate, "22003") << last.message;
        EXPECT_FALSE(last.message.empty());
    }
    EXPECT_EQ(runQuery("select count(*) from dst", 1), (Rows{{readWhole ? "0" : "1"}}));
    EXPECT_EQ(runQuery("select count(*) from src", 1), (Rows{{"3000"}}));
}

// Readers cleared before their end, with a short or a long rest: the next
// calls on the session work and report no failure of the reads left behind,
// and the reader runs a second query.
TEST_F(ReaderTest, AReaderClearedBeforeItsEndLeavesTheSessionToTheNextCalls) {
    ASSERT_EQ(runWrite("create table dst(id integer)"), 0u);
    const std::string series =
        "with recursive g(v) as (select 1 union all select v + 1 from g where v < %) "
        "select v from g";
    int written = 0;
    for (const char* rows : {"3000", "2000000"}) {
        SCOPED_TRACE(rows);
        std::string sql = series;
        sql.replace(sql.find('%'), 1, rows);
        OpenQuery query(sql);
        ASSERT_EQ(query.code, 0u);
        ASSERT_TRUE(query.reader.hasNextElement());
        query.reader.clear();
        ASSERT_EQ(runWrite("insert into dst values(" + std::to_string(++written) + ")"), 0u);
        EXPECT_EQ(lastError().code, 0u);
        ASSERT_EQ(query.db->beginTransaction(), 0u);
        ASSERT_EQ(query.db->execReadSQL(sqlText("select count(*) from dst"), query.reader), 0u);
        long count = 0;
        query.reader >> count;
        EXPECT_EQ(count, written);
        ASSERT_EQ(query.db->commitTransaction(), 0u);
    }
}

}  // namespace
}  // namespace vorn::test

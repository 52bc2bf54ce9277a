// Statements built with the builders and conditions, run on the real store
// through MIRAsqlDB and read back through CVORNReader.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <tuple>
#include <vector>

#include "store_fixture.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

class BuilderRoundTripTest : public StoreTest {};

TEST_F(BuilderRoundTripTest, EveryInserterTypeComesBackAsWritten) {
    ASSERT_EQ(runWrite("create table v(id integer, s text, p text, c text, sh integer, i integer, "
                       "us integer, ui bigint, ul bigint, l bigint, f real, d double precision, "
                       "b integer, n text)"),
              0u);
    struct Row {
        long id;
        std::string s;
        const char* p;
        char c;
        short sh;
        int i;
        unsigned short us;
        unsigned int ui;
        unsigned long ul;
        long l;
        float f;
        double d;
        bool b;
    };
    const Row rows[] = {
        {1, "it's \"quoted\"", "x'); DROP TABLE v; --", '\'', SHRT_MIN, INT_MIN, 0, 0, 0, LONG_MIN,
         -1.25f, -0.5, false},
        {2, "", "\xC3\xA9t\xC3\xA9", 'z', SHRT_MAX, INT_MAX, USHRT_MAX, 2147483647u, 4294967294UL,
         LONG_MAX, 2.5f, 1e15, true},
    };
    // The updater writes the same literals: its text is the conformance tables'.
    for (const Row& r : rows) {
        CVORNInserter inserter;
        inserter.table("v");
        inserter["id"]["s"]["p"]["c"]["sh"]["i"]["us"]["ui"]["ul"]["l"]["f"]["d"]["b"]["n"]
            << r.id << r.s << r.p << r.c << r.sh << r.i << r.us << r.ui << r.ul << r.l << r.f << r.d
            << r.b << CVORNNull();
        ASSERT_EQ(runStatement(inserter), 0u) << inserter.toString();
        OpenQuery query("select s, p, c, sh, i, us, ui, ul, l, f, d, b, n from v where id = " +
                        std::to_string(r.id));
        ASSERT_EQ(query.code, 0u);
        Row got{};
        std::string p;
        int b = -1;
        std::string n = "not null";
        CVORNNull sIsNull;
        CVORNNull nIsNull;
        query.reader >> sIsNull >> got.s >> p >> got.c >> got.sh >> got.i >> got.us >> got.ui >>
            got.ul >> got.l >> got.f >> got.d >> b >> nIsNull >> n;
        EXPECT_EQ(std::tie(got.s, p, got.c, got.sh, got.i, got.us, got.ui, got.ul, got.l, got.f,
                           got.d, b, n),
                  std::make_tuple(r.s, std::string(r.p), r.c, r.sh, r.i, r.us, r.ui, r.ul, r.l, r.f,
                                  r.d, r.b ? 1 : 0, ""));
        EXPECT_EQ(static_cast<bool>(sIsNull), r.s.empty());
        EXPECT_TRUE(nIsNull);
    }
}

class SelectionTest : public StoreTest {
  protected:
    void prepare() override {
        ASSERT_EQ(runWrite("create table alarm(id integer, level integer, name text, "
                           "ratio double precision, ts text)"),
                  0u);
        ASSERT_EQ(runWrite("insert into alarm values(1, 1, 'a', 0.5, '2020-01-01'), "
                           "(2, 3, 'it''s', 1.5, '2021-06-01'), (3, 5, 'c', 2.5, '2022-12-31'), "
                           "(4, 4, 'd', 2.5, '2023-03-03')"),
                  0u);
    }
    static CVORNSelector where(const CVORNCriterion& condition) {
        return idsWhere("alarm", condition);
    }
};

TEST_F(SelectionTest, EveryComparisonSelectsTheRowsItNames) {
    const CVORNTable alarm("alarm");
    CVORNSelector highest;
    highest.table("alarm");
    highest << vornMax(alarm["level"]);
    highest.where(alarm["id"] <= 2);
    CVORNSelector serious;
    serious.table("alarm");
    serious.select("id");
    serious.where(alarm["level"] >= 4);

    struct Case {
        CVORNCriterion condition;
        std::vector<long> expected;
    };
    const Case cases[] = {
        {alarm["level"] == 3, {2}},
        {alarm["level"] != 3, {1, 3, 4}},
        {alarm["level"] >= 4, {3, 4}},
        {alarm["level"] <= 3, {1, 2}},
        {alarm["level"] == 5L, {3}},
        {alarm["level"] == 4u, {4}},
        {alarm["ratio"] == 2.5, {3, 4}},
        {alarm["ratio"] != 2.5f, {1, 2}},
        {alarm["name"] == std::string("it's"), {2}},
        {alarm["name"] != std::string("it's"), {1, 3, 4}},
        {alarm["name"] == 'c', {3}},
        {alarm["ts"] <= std::string("2021-06-01"), {1, 2}},
        {alarm["ts"] >= std::string("2021-06-01"), {2, 3, 4}},
        {alarm["id"].in("1,3"), {1, 3}},
        {alarm["id"].notIn("1,3"), {2, 4}},
        {alarm["id"].in(serious), {3, 4}},
        {alarm["name"].like("%'%"), {2}},
        {alarm["level"] == alarm["id"], {1, 4}},
        {alarm["level"] != alarm["id"], {2, 3}},
        {alarm["level"] <= highest, {1, 2}},
        {alarm["level"] >= highest, {2, 3, 4}},
        {(alarm["level"] >= 3 && alarm["ratio"] <= std::string("2")) || alarm["id"] == 1, {1, 2}},
    };
    for (const auto& c : cases) {
        const CVORNSelector selector = where(c.condition);
        EXPECT_EQ(selectedIds(selector), c.expected) << selector.toString();
    }
}

TEST_F(SelectionTest, CompoundSelectsPagesAndAggregates) {
    const CVORNTable alarm("alarm");
    CVORNSelector high;
    high.table("alarm");
    high.select("id");
    high.where(alarm["level"] >= 3);
    struct Case {
        ENUM_COMPOUND_OP op;
        std::vector<long> expected;
    };
    for (const auto& c :
         {Case{COMPOUND_UNION, {1, 2, 3, 4}}, Case{COMPOUND_UNION_ALL, {1, 2, 2, 3, 4}},
          Case{COMPOUND_INTERSECT, {2}}, Case{COMPOUND_EXCEPT, {1}}}) {
        CVORNSelector first;
        first.table("alarm");
        first.select("id");
        first.where(CVORNTable("alarm")["level"] <= 3);
        first.compound(high, c.op);
        first.orderBy("id", true);
        EXPECT_EQ(selectedIds(first), c.expected) << first.toString();
    }

    CVORNSelector page;
    page.table("alarm");
    page.select("id");
    page.orderBy("id", false);
    page.limit(2, 1);
    EXPECT_EQ(selectedIds(page), (std::vector<long>{3, 2}));

    CVORNSelector levels;
    levels.table("alarm");
    levels.distinct();
    levels.select("ratio");
    levels.orderBy("ratio", true);
    EXPECT_EQ(readRows(levels, 1), (Rows{{"0.5"}, {"1.5"}, {"2.5"}}));

    CVORNSelector stats;
    stats.table("alarm");
    stats << vornCount() << vornMin(alarm["level"]) << vornMax(alarm["level"])
          << vornAvg(alarm["ratio"]);
    EXPECT_EQ(readRows(stats, 4), (Rows{{"4", "1", "5", "1.75"}}));
}

TEST_F(SelectionTest, UpdatesAndDeletesTouchExactlyTheRowsTheirConditionsName) {
    CVORNUpdater updater;
    updater.table("alarm");
    updater["name"].assign(std::string("seen"));
    updater.where(CVORNTable("alarm")["level"] >= 4);
    ASSERT_EQ(runStatement(updater), 0u);
    EXPECT_EQ(runQuery("select id, name from alarm order by id", 2),
              (Rows{{"1", "a"}, {"2", "it's"}, {"3", "seen"}, {"4", "seen"}}));

    CVORNDeleter deleter;
    deleter.table("alarm");
    deleter.where(CVORNTable("alarm")["name"] != std::string("seen") &&
                  CVORNTable("alarm")["id"] >= 2);
    ASSERT_EQ(runStatement(deleter), 0u);
    EXPECT_EQ(runQuery("select id from alarm order by id", 1), (Rows{{"1"}, {"3"}, {"4"}}));

    CVORNDroper dropper;
    dropper.table("alarm");
    ASSERT_EQ(runStatement(dropper), 0u);
    EXPECT_NE(runWrite("delete from alarm"), 0u);
}

// Hostile text stays data wherever the builders escape it, and where they
// deliberately do not, the store refuses the text instead of running more.
TEST_F(SelectionTest, HostileValuesStayData) {
    const std::string hostile = "x'); DROP TABLE alarm; --";
    const CVORNTable alarm("alarm");
    CVORNInserter inserter;
    inserter.table("alarm");
    inserter["id"]["name"]["ts"] << 10 << hostile << hostile;
    ASSERT_EQ(runStatement(inserter), 0u);
    CVORNUpdater updater;
    updater.table("alarm");
    updater["ts"].assign(hostile + "'");
    updater.where(alarm["id"] == 10);
    ASSERT_EQ(runStatement(updater), 0u);

    EXPECT_EQ(selectedIds(where(alarm["name"] != hostile)), (std::vector<long>{1, 2, 3, 4}));
    EXPECT_EQ(selectedIds(where(alarm["name"] <= hostile && alarm["name"] >= hostile)),
              (std::vector<long>{10}));
    EXPECT_EQ(selectedIds(where(alarm["ts"] >= hostile + "'" && alarm["ts"] <= hostile + "'")),
              (std::vector<long>{10}));
    EXPECT_EQ(runQuery("select name, ts from alarm where id = 10", 2),
              (Rows{{hostile, hostile + "'"}}));

    // == doubles only the first quote: the rest of this value ends the literal.
    CVORNSelector firstQuoteOnly =
        where(alarm["name"] == std::string("a'b'); DROP TABLE alarm; --"));
    CVORNReader reader;
    Database db;
    EXPECT_NE(db->execReadSQL(firstQuoteOnly, reader), 0u) << firstQuoteOnly.toString();
    // notIn takes SQL text: a second statement in it is refused, not run.
    const CVORNDeleter deleter = [&] {
        CVORNDeleter d;
        d.table("alarm");
        d.where(alarm["id"].notIn("0); DROP TABLE alarm; --"));
        return d;
    }();
    EXPECT_EQ(runStatement(deleter), platform::errc::kMultipleStatements) << deleter.toString();

    EXPECT_EQ(runQuery("select count(*) from alarm", 1), (Rows{{"5"}}));
}

}  // namespace
}  // namespace vorn::test

// Bound statements end to end: values travel beside the text on every store,
// whatever they hold, and every text the store cannot bind safely is refused
// before anything runs.
#include "vorn/bound_statement.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "log_capture.h"
#include "store_fixture.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

using platform::LogLevel;
namespace errc = platform::errc;

class BoundStatementTest : public StoreTest {
  protected:
    void prepare() override { seedKept(); }
};

TEST_F(BoundStatementTest, EveryValueTypeAndNullRoundTripExactly) {
    ASSERT_EQ(runWrite("create table vals(id integer, t text, c text, b integer, s integer, "
                       "i integer, l bigint, ll bigint, us integer, ui bigint, ul bigint, "
                       "ull bigint, f double precision, d double precision, n text)"),
              0u);
    const std::string text = "it's \"quoted\" \\ {t} -- /* */ $1 ? :n \xe2\x82\xac";
    BoundStatement insert(
        "insert into vals values({id}, {t}, {c}, {b}, {s}, {i}, {l}, {ll}, {us}, {ui}, {ul}, "
        "{ull}, {f}, {d}, {n})");
    insert.bind("id", 1)
        .bind("t", text)
        .bind("c", 'x')
        .bind("b", true)
        .bind("s", static_cast<short>(SHRT_MIN))
        .bind("i", INT_MIN)
        .bind("l", LONG_MIN)
        .bind("ll", LLONG_MAX)
        .bind("us", static_cast<unsigned short>(USHRT_MAX))
        .bind("ui", 3000000000U)
        .bind("ul", ULONG_MAX)
        .bind("ull", 9223372036854775808ULL)
        .bind("f", 0.1F)
        .bind("d", 4.9406564584124654e-324)
        .bind("n", CVORNNull());
    ASSERT_EQ(runStatement(insert), 0u);
    ASSERT_EQ(runStatement(insert.bind("id", 2).bind("t", "second").bind("d", DBL_MAX)), 0u);

    BoundStatement select(
        "select t, c, b, s, i, l, ll, us, ui, ul, ull, f, d, n from vals "
        "where id = {id}");
    Database db;
    CVORNReader reader;
    ASSERT_EQ(db->execReadSQL(select.bind("id", 1), reader), 0u);
    std::string t, c, n = "unchanged";
    int b = 0, i = 0;
    short s = 0;
    long l = 0, ll = 0;
    unsigned short us = 0;
    unsigned int ui = 0;
    unsigned long ul = 0, ull = 0;
    float f = 0;
    double d = 0;
    CVORNNull null;
    reader >> t >> c >> b >> s >> i >> l >> ll >> us >> ui >> ul >> ull >> f >> d >> null >> n;
    // ui: not the inserter's signed rendering; ul: stored as -1, the same 64 bits.
    EXPECT_EQ(std::tie(t, c, b, s, i, l, ll, us, ui, ul, ull, f, d, n),
              std::make_tuple(text, "x", 1, SHRT_MIN, INT_MIN, LONG_MIN, LLONG_MAX, USHRT_MAX,
                              3000000000U, ULONG_MAX, 9223372036854775808ULL, 0.1F,
                              4.9406564584124654e-324, ""));
    EXPECT_TRUE(null);
    EXPECT_FALSE(reader.hasNextElement());

    EXPECT_EQ(readRows(select.bind("id", 2), 14)[0][12], "1.7976931348623157e+308");
}

// Texts that would end a literal, start a comment or look like a placeholder
// are stored and found as they are; each read finds exactly its own row.
TEST_F(BoundStatementTest, HostileTextsStayData) {
    const std::vector<std::string> hostile = {
        "O'Reilly",
        "a''b",
        "x'); DROP TABLE kept; --",
        "' or '1'='1",
        "a'b' or '1'='1",  // what == of a builder would let out of its literal
        "\\'; delete from kept; --",
        "back\\slash\\",
        "{name}",
        "{",
        "}{",
        "/* not a comment */",
        "-- not a comment",
        "$1 $$ $tag$",
        "? ?1 :name @name",
        "line\nbreak\ttab\r",
        "\xe2\x82\xac \xf0\x9f\x98\x80",
    };
    BoundStatement insert("insert into kept(id, name) values({id}, {name})");
    BoundStatement find("select id from kept where name = {name}");
    long id = 100;
    for (const std::string& text : hostile) {
        SCOPED_TRACE(text);
        ASSERT_EQ(runStatement(insert.bind("id", ++id).bind("name", text)), 0u);
        EXPECT_EQ(readRows(find.bind("name", text), 1), (Rows{{std::to_string(id)}}));
    }
    Rows expected = seededKept();
    id = 100;
    for (const std::string& text : hostile) {
        expected.push_back({std::to_string(++id), text});
    }
    EXPECT_EQ(keptRows(), expected);
}

// A NUL byte and bytes that are not UTF-8: SQLite keeps them; PostgreSQL text
// cannot hold them, and the call says so with SQLSTATE 22021.
TEST_F(BoundStatementTest, BytesATextColumnMayNotHold) {
    const std::vector<std::string> texts = {std::string("nul\0byte", 8), "not utf-8: \xff\xfe\xc3"};
    BoundStatement insert("insert into kept values({id}, {name})");
    BoundStatement find("select name from kept where id = {id}");
    long id = 10;
    for (const std::string& text : texts) {
        SCOPED_TRACE(text);
        const unsigned long code = runStatement(insert.bind("id", ++id).bind("name", text));
        if (onPostgres()) {
            EXPECT_EQ(platform::sqlstateFromCode(code), "22021");
            EXPECT_EQ(lastError().category, ErrorCategory::InvalidValue);
        } else {
            ASSERT_EQ(code, 0u);
            EXPECT_EQ(readRows(find.bind("id", id), 1), (Rows{{text}}));
        }
    }
    if (onPostgres()) {
        EXPECT_EQ(keptRows(), seededKept());
    }
}

// Each refusal has its code, an information line and the category Refused,
// for writes and reads alike, and nothing runs: the stored rows stay as they
// were, and no row is added. On PostgreSQL '?' and ':' are operator
// characters: the server judges such text, and finds a syntax error.
TEST_F(BoundStatementTest, RefusalsHaveTheirCodeAndNothingRuns) {
    const struct {
        const char* name;
        const char* tail;                // of "insert into kept values({id}, <tail>"
        std::vector<const char*> names;  // bound to 4, 5, ... in order
        std::uint64_t code;
        bool sqliteMarker;
    } refusals[] = {
        {"PlaceholderWithoutValue", "'x')", {}, errc::kUnknownPlaceholder, false},
        {"ValueWithoutPlaceholder", "'x')", {"id", "extra"}, errc::kUnusedParameter, false},
        {"ValueUnderANameNoPlaceholderCanHave",
         "'x')",
         {"id", "a b"},
         errc::kUnusedParameter,
         false},
        {"EmptyBraces", "{})", {"id"}, errc::kMalformedPlaceholder, false},
        {"NameWithABlank", "{a b})", {"id"}, errc::kMalformedPlaceholder, false},
        {"UnclosedBrace", "{name)", {"id", "name"}, errc::kMalformedPlaceholder, false},
        {"NumberedMarkerOfTheStore", "$1)", {"id"}, errc::kMalformedPlaceholder, false},
        {"QuestionMarkOfSqlite", "?)", {"id"}, errc::kMalformedPlaceholder, true},
        {"NamedMarkerOfSqlite", ":name)", {"id"}, errc::kMalformedPlaceholder, true},
        {"SecondStatement", "'x'); delete from kept", {"id"}, errc::kMultipleStatements, false},
    };
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(refusal.name);
        const bool byServer = refusal.sqliteMarker && onPostgres();
        const std::uint64_t expected =
            byServer ? platform::pgCodeFromSqlstate("42601") : refusal.code;
        BoundStatement statement(std::string("insert into kept values({id}, ") + refusal.tail);
        int value = 4;
        for (const char* name : refusal.names) {
            statement.bind(name, value++);
        }
        LogCapture log;
        EXPECT_EQ(runStatement(statement), expected);
        EXPECT_EQ(lastError().category, byServer ? ErrorCategory::Syntax : ErrorCategory::Refused);
        const auto lines = log.at(LogLevel::Info);
        EXPECT_EQ(lines.size(), 1u);
        for (const auto& line : lines) {
            EXPECT_EQ(line.returnedCode, expected);
            EXPECT_EQ(line.text.rfind("[VORNLib]", 0), 0u) << line.text;
        }
        unsigned long code = 0;
        EXPECT_EQ(readRows(statement, 1, &code), Rows{});
        EXPECT_EQ(code, expected);
    }
    EXPECT_EQ(keptRows(), seededKept());
}

// Braces inside quoted text and comments are text; the same placeholder may
// stand more than once and takes one value.
TEST_F(BoundStatementTest, OnlyBracesOutsideQuotesArePlaceholders) {
    ASSERT_EQ(runStatement(
                  BoundStatement("insert into kept values({id}, '{name}') -- {x}").bind("id", 4)),
              0u);
    ASSERT_EQ(
        runStatement(
            BoundStatement("/* {y} */ insert into kept values({id}, 'it''s {')").bind("id", 5)),
        0u);
    EXPECT_EQ(readRows(BoundStatement("select id, name from kept where id >= {low} and "
                                      "id <= {low} + 1 order by id")
                           .bind("low", 4),
                       2),
              (Rows{{"4", "{name}"}, {"5", "it's {"}}));
}

// The statement runs again with new values, after a failure of its own and
// after the table under it was made anew.
TEST_F(BoundStatementTest, RunsAgainWithNewValues) {
    BoundStatement insert("insert into kept(id, name) values({id}, {name})");
    ASSERT_EQ(runStatement(insert.bind("id", 4).bind("name", "d")), 0u);
    EXPECT_NE(runStatement(insert.bind("id", 4).bind("name", "again")), 0u);
    EXPECT_EQ(lastError().category, ErrorCategory::Constraint);
    ASSERT_EQ(runStatement(insert.bind("id", 5).bind("name", "e")), 0u);
    ASSERT_EQ(runWrite("drop table kept"), 0u);
    ASSERT_EQ(runWrite("create table kept(id integer, name text, extra text default 'x')"), 0u);
    ASSERT_EQ(runStatement(insert.bind("id", 6).bind("name", "f")), 0u);
    EXPECT_EQ(runQuery("select id, name, extra from kept", 3), (Rows{{"6", "f", "x"}}));
}

// Events and log lines carry the text as written: the values stay out.
TEST_F(BoundStatementTest, EventsAndLogsShowPlaceholdersNotValues) {
    const std::string secret = "value-that-stays-out";
    std::vector<std::string> texts;
    setStatementObserver([&texts](const StatementEvent& event) { texts.emplace_back(event.text); });
    LogCapture log;
    BoundStatement insert("insert into kept values({id}, {name})");
    ASSERT_EQ(runStatement(insert.bind("id", 4).bind("name", secret)), 0u);
    EXPECT_NE(runStatement(insert), 0u);  // the same id again
    setStatementObserver(nullptr);
    EXPECT_EQ(texts, std::vector<std::string>(2, insert.text()));
    ASSERT_FALSE(log.records().empty());
    EXPECT_EQ(log.containing(secret), "");
}

// A read goes on after its call returned: its values are its own by then, so
// the caller may run the text again with others beside it, bind others or
// drop the statement while rows remain.
TEST_F(BoundStatementTest, AnOpenReadKeepsItsValues) {
    const std::string name(64, 's');  // too long to live inside the string object
    ASSERT_EQ(runWrite("insert into kept with recursive g(v) as (select 10 union all select v + 1 "
                       "from g where v < 1009) select v, '" +
                       name + "' from g"),
              0u);
    Database db;
    auto find = std::make_unique<BoundStatement>("select id from kept where name = {name}");
    CVORNReader reader;
    CVORNReader second;
    ASSERT_EQ(db->execReadSQL(find->bind("name", name), reader), 0u);
    ASSERT_EQ(db->execReadSQL(find->bind("name", "b"), second), 0u);
    find->bind("name", std::string(64, 'x'));
    find.reset();
    long id = 0;
    second >> id;
    EXPECT_EQ(id, 2);
    EXPECT_FALSE(second.hasNextElement());
    int rows = 0;
    while (reader.hasNextElement()) {
        ++rows;
    }
    EXPECT_EQ(rows, 1000);
}

// Threads run the same texts at once, each on its own connection and its own
// prepared forms; every row arrives once.
TEST_F(BoundStatementTest, ThreadsRunTheSameTextsAtOnce) {
    constexpr int kThreads = 4;
    constexpr int kRows = 50;
    std::vector<std::thread> threads;
    std::vector<int> failures(kThreads, 0);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &failures] {
            BoundStatement insert("insert into kept(id, name) values({id}, {name})");
            BoundStatement count("select count(*) from kept where id >= {low}");
            for (int i = 0; i < kRows; ++i) {
                const int id = 100 + t * kRows + i;
                failures[t] += runStatement(insert.bind("id", id).bind("name", "t")) != 0;
                failures[t] += readRows(count.bind("low", id), 1).size() != 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, std::vector<int>(kThreads, 0));
    EXPECT_EQ(runQuery("select count(*), min(id), max(id) from kept where name = 't'", 3),
              (Rows{{std::to_string(kThreads * kRows), "100",
                     std::to_string(100 + kThreads * kRows - 1)}}));
}

// Inside the caller's transaction a bound write is seen by the transaction's
// reads and goes with its rollback; a refused one leaves the transaction
// going.
TEST_F(BoundStatementTest, GoesWithARolledBackTransaction) {
    Database db;
    ASSERT_EQ(db->beginTransaction(), 0u);
    BoundStatement insert("insert into kept values({id}, {name})");
    ASSERT_EQ(db->execWriteSQL(insert.bind("id", 4).bind("name", "d")), 0u);
    EXPECT_EQ(db->execWriteSQL(BoundStatement("delete from kept where id = {id}")),
              errc::kUnknownPlaceholder);
    EXPECT_EQ(readRows(BoundStatement("select name from kept where id = {id}").bind("id", 4), 1),
              (Rows{{"d"}}));
    ASSERT_EQ(db->rollbackTransaction(), 0u);
    EXPECT_EQ(keptRows(), seededKept());
}

}  // namespace
}  // namespace vorn::test

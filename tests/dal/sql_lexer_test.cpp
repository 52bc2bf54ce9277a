// The SQL lexer, with PostgreSQL's and SQLite's quoting: what is quoted,
// what is a comment, which "{key}" is a placeholder, and where a second
// statement starts; placeholders of bound statements as a store gets them:
// numbered by first appearance, never glued to the text after them, and
// refused where they are not well formed; and the ids of statements.
#include "exec/dal/sql_lexer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "exec/dal/placeholders.h"
#include "vorn/platform/data_access.h"
#include "vorn/platform/error_codes.h"

namespace {

using vorn::dal::BoundText;
using vorn::dal::SqlDialect;
using vorn::dal::SqlLexer;
namespace errc = vorn::platform::errc;

const SqlDialect kPostgres{true, true, true, false};
const SqlDialect kSqlite{false, false, false, true};

// The tokens of text as "<kind>:<text>", blank-separated.
std::string tokens(const std::string& text, const SqlDialect& dialect) {
    static const char* const kKinds[] = {"End", "W", "N", "$", "P", "Q", "S"};
    SqlLexer lexer(text, dialect);
    std::string out;
    for (auto t = lexer.next(); t.kind != SqlLexer::Kind::End; t = lexer.next()) {
        out += std::string(out.empty() ? "" : " ") + kKinds[static_cast<int>(t.kind)] + ":" +
               text.substr(t.begin, t.end - t.begin);
    }
    return out;
}

TEST(SqlLexer, SplitsTextAsEachDialectQuotesIt) {
    const struct {
        std::string text;
        const char* postgres;
        const char* sqlite;
    } cases[] = {
        {"select 'it''s', \"a\"\"b\" from t1", "W:select Q:'it''s' S:, Q:\"a\"\"b\" W:from W:t1",
         "W:select Q:'it''s' S:, Q:\"a\"\"b\" W:from W:t1"},
        {"x E'\\'' ;", "W:x Q:E'\\'' S:;", "W:x W:E Q:'\\'' ;"},
        {"$$a;b$$ $t$ $$ ; $t$ $1", "Q:$$a;b$$ Q:$t$ $$ ; $t$ $:$1",
         "S:$ S:$ W:a S:; W:b$$ S:$ W:t$ S:$ S:$ S:; S:$ W:t$ $:$1"},
        {"[a;b] `c``d`", "S:[ W:a S:; W:b S:] S:` W:c S:` S:` W:d S:`", "Q:[a;b] Q:`c``d`"},
        {"/* /* */ x */ y", "W:y", "W:x S:* S:/ W:y"},
        {"a -- c ; {k}\n b /* {k} */ {k} '{k}'", "W:a W:b P:{k} Q:'{k}'", "W:a W:b P:{k} Q:'{k}'"},
        {"{a b} {x", "P:{a b} S:{ W:x", "P:{a b} S:{ W:x"},
        {"1.5e3 .5 x$y", "N:1.5e3 N:.5 W:x$y", "N:1.5e3 N:.5 W:x$y"},
        // Unclosed quotes and comments run to the end.
        {"'a ; b", "Q:'a ; b", "Q:'a ; b"},
        {"\"a ; b", "Q:\"a ; b", "Q:\"a ; b"},
        {"E'\\' ; b", "Q:E'\\' ; b", "W:E Q:'\\' S:; W:b"},
        {"$$ ; b", "Q:$$ ; b", "S:$ S:$ S:; W:b"},
        {"[a ; b", "S:[ W:a S:; W:b", "Q:[a ; b"},
        {"x /* ; b", "W:x", "W:x"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(tokens(c.text, kPostgres), c.postgres) << c.text;
        EXPECT_EQ(tokens(c.text, kSqlite), c.sqlite) << c.text;
    }
}

TEST(SqlLexer, CountsStatements) {
    const struct {
        std::string text;
        bool second[2];  // hasSecondStatement on PostgreSQL, on SQLite
        bool none[2];    // holdsNoStatement
    } cases[] = {
        {"select 1; select 2", {true, true}, {false, false}},
        {"select 1;; -- x\n ; /* y */", {false, false}, {false, false}},
        {"select 'a;b' -- ; x", {false, false}, {false, false}},
        {std::string("select 1\0; x", 12), {true, true}, {false, false}},
        {"select $$;$$ x", {false, true}, {false, false}},
        {"select E'\\';' x", {false, true}, {false, false}},
        {"select [;] x", {true, false}, {false, false}},
        {"select 1 /* /* */ ; x */", {false, true}, {false, false}},
        {"", {false, false}, {true, true}},
        {" ; -- x\n ; /* y */", {false, false}, {true, true}},
        {"/* /* */ */", {false, false}, {true, false}},
        {"; x", {true, true}, {false, false}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(vorn::dal::hasSecondStatement(c.text, kPostgres), c.second[0]) << c.text;
        EXPECT_EQ(vorn::dal::hasSecondStatement(c.text, kSqlite), c.second[1]) << c.text;
        EXPECT_EQ(vorn::dal::holdsNoStatement(c.text, kPostgres), c.none[0]) << c.text;
        EXPECT_EQ(vorn::dal::holdsNoStatement(c.text, kSqlite), c.none[1]) << c.text;
    }
}

struct Rewrite {
    const char* sql;
    const char* text;  // "" when refused
    std::vector<std::string> names;
    std::uint64_t code;
};

TEST(BoundText, RewritesPlaceholdersOutsideQuotesAndRefusesTheRest) {
    const std::vector<Rewrite> cases = {
        {"select {a}, {b}, {a}", "select $1, $2, $1", {"a", "b"}, 0},
        {"select {a}1, {a}x, {a}$, {a}+1, x{a}, {a}{a}",
         "select $1 1, $1 x, $1 $, $1+1, x $1, $1 $1",
         {"a"},
         0},
        {"select '{a}', \"{b}\", E'\\'{c}', $$ {d} $$ -- {e}\n/* /* {f} */ */ {g_1}",
         "select '{a}', \"{b}\", E'\\'{c}', $$ {d} $$ -- {e}\n/* /* {f} */ */ $1",
         {"g_1"},
         0},
        {"select {}", "", {}, errc::kMalformedPlaceholder},
        {"select {a-b}", "", {}, errc::kMalformedPlaceholder},
        {"select {a", "", {}, errc::kMalformedPlaceholder},
        {"select {a}, $1", "", {}, errc::kMalformedPlaceholder},
    };
    for (const Rewrite& c : cases) {
        SCOPED_TRACE(c.sql);
        BoundText out;
        const auto status = vorn::dal::makeBoundText(c.sql, kPostgres, '$', out);
        EXPECT_EQ(status.errorCode(), c.code) << status.detail().value_or("");
        if (c.code == 0) {
            EXPECT_EQ(out.text, c.text);
            EXPECT_EQ(out.names, c.names);
        }
    }
}

// The index in parameters of each name's value, or the refusal's code.
std::vector<std::size_t> matched(const std::vector<std::string>& names,
                                 const vorn::platform::BoundParameters& parameters,
                                 std::uint64_t& code) {
    std::vector<std::size_t> order;
    code = vorn::dal::forEachBoundValue(
               names, parameters,
               [&](std::size_t, const vorn::platform::BoundParameter& p) {
                   order.push_back(static_cast<std::size_t>(&p - &parameters[0]));
                   return vorn::platform::ExecResult();
               })
               .errorCode();
    return order;
}

TEST(BoundText, MatchesEveryNameToOneValue) {
    const std::vector<std::string> names = {"b", "a"};
    std::uint64_t code = 0;
    EXPECT_EQ(matched(names, {{"a", 1L}, {"b", 2L}}, code), (std::vector<std::size_t>{1, 0}));
    EXPECT_EQ(code, 0u);
    matched(names, {{"a", 1L}}, code);
    EXPECT_EQ(code, errc::kUnknownPlaceholder);
    matched(names, {{"a", 1L}, {"b", 2L}, {"c", 3L}}, code);
    EXPECT_EQ(code, errc::kUnusedParameter);
    matched(names, {{"a", 1L}, {"b", 2L}, {"a", 3L}}, code);
    EXPECT_EQ(code, errc::kBadParameters);
}

TEST(StatementIdTest, JoinsSourceFunctionAndLine) {
    EXPECT_EQ(vorn::platform::makeStatementId("MiraDB", "execReadSQL", 63),
              "MiraDB:execReadSQL:63");
    EXPECT_EQ(vorn::platform::makeStatementId(nullptr, nullptr, -1), "::-1");
}

}  // namespace

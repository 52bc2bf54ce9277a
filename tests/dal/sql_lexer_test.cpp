// The SQL lexer, with PostgreSQL's and SQLite's quoting: what is quoted,
// what is a comment, which "{key}" is a placeholder, and where a second
// statement starts.
#include "exec/dal/sql_lexer.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using vorn::dal::SqlDialect;
using vorn::dal::SqlLexer;

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

}  // namespace

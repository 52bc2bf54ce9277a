#include "exec/platform/string_helpers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "raw_sqlite.h"

namespace {

using vorn::platform::escapeLikePattern;
using vorn::platform::escapeSingleQuotes;

// Both helpers share one rule: quotes doubled, every other byte kept.
TEST(QuoteEscaping, DoublesQuotesOnly) {
    const struct {
        std::string input;
        std::string expected;
    } cases[] = {
        {"", ""},
        {"abc", "abc"},
        {"it's", "it''s"},
        {"''", "''''"},
        {"'x'", "''x''"},
        {"50%_\\\"", "50%_\\\""},  // wildcards and backslash
        {std::string("a\0'b", 4), std::string("a\0''b", 5)},
        {"caf\xc3\xa9'", "caf\xc3\xa9''"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(escapeSingleQuotes(c.input), c.expected) << c.input;
        EXPECT_EQ(escapeLikePattern(c.input), c.expected) << c.input;
    }
}

// Runs "SELECT '<subject>' LIKE '<escaped pattern>'" on SQLite.
bool sqliteLike(const std::string& subject, const std::string& pattern) {
    const std::string sql =
        "SELECT '" + escapeSingleQuotes(subject) + "' LIKE '" + escapeLikePattern(pattern) + "'";
    using Rows = std::vector<std::vector<std::string>>;
    const Rows rows = vorn::test::RawSqlite(":memory:").rows(sql);
    EXPECT_TRUE(rows == Rows{{"0"}} || rows == Rows{{"1"}}) << sql << ": " << rows.at(0).at(0);
    return rows == Rows{{"1"}};
}

TEST(LikePatternOnSqlite, WildcardsMatchAndQuotesStayLiteral) {
    struct Case {
        const char* pattern;
        bool matches;
    };
    const std::string subject = "it's 50% off";
    const std::vector<Case> cases = {
        {"it's%", true},         {"%50_ off", true},      {"IT'S 50% OFF", true}, {"it's 5", false},
        {"x' OR 'a'='a", false}, {"%' OR 1=1 --", false}, {"it''s%", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(sqliteLike(subject, c.pattern), c.matches) << c.pattern;
    }
}

}  // namespace

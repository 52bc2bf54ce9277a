#include "exec/platform/string_helpers.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

namespace {

using vorn::platform::escapeLikePattern;
using vorn::platform::escapeSingleQuotes;

struct EscapeCase {
    const char* name;
    std::string input;
    std::string expected;
};

class QuoteEscaping : public ::testing::TestWithParam<EscapeCase> {};

// Both helpers share one rule: quotes doubled, every other byte kept.
TEST_P(QuoteEscaping, DoublesQuotesOnly) {
    EXPECT_EQ(escapeSingleQuotes(GetParam().input), GetParam().expected);
    EXPECT_EQ(escapeLikePattern(GetParam().input), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, QuoteEscaping,
    ::testing::Values(EscapeCase{"Empty", "", ""}, EscapeCase{"NoQuote", "abc", "abc"},
                      EscapeCase{"OneQuote", "it's", "it''s"},
                      EscapeCase{"OnlyQuotes", "''", "''''"},
                      EscapeCase{"QuoteAtEnds", "'x'", "''x''"},
                      EscapeCase{"WildcardsAndBackslash", "50%_\\\"", "50%_\\\""},
                      EscapeCase{"EmbeddedNul", std::string("a\0'b", 4), std::string("a\0''b", 5)},
                      EscapeCase{"HighBytes", "caf\xc3\xa9'", "caf\xc3\xa9''"}),
    [](const ::testing::TestParamInfo<EscapeCase>& param) {
        return std::string(param.param.name);
    });

// Runs "SELECT '<subject>' LIKE '<escaped pattern>'" on SQLite.
bool sqliteLike(const std::string& subject, const std::string& pattern) {
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open(":memory:", &db), SQLITE_OK);
    const std::string sql =
        "SELECT '" + escapeSingleQuotes(subject) + "' LIKE '" + escapeLikePattern(pattern) + "'";
    sqlite3_stmt* stmt = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr), SQLITE_OK) << sql;
    EXPECT_EQ(sqlite3_step(stmt), SQLITE_ROW);
    const bool matched = sqlite3_column_int(stmt, 0) == 1;
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    return matched;
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

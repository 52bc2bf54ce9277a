// Placeholders of bound statements as a store gets them: numbered by first
// appearance, never glued to the text after them, and refused where they are
// not well formed.
#include "exec/dal/placeholders.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vorn/platform/error_codes.h"

namespace {

using vorn::dal::BoundText;
using vorn::dal::SqlDialect;
namespace errc = vorn::platform::errc;

const SqlDialect kPostgres{true, true, true, false};

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

}  // namespace

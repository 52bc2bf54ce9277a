#include "vorn/platform/error_codes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using vorn::platform::kPgCodeMarker;
using vorn::platform::pgCodeFromSqlstate;
using vorn::platform::sqlstateFromCode;

constexpr std::uint64_t kInternalError = 0x5047005858303030ULL;  // "XX000"

TEST(PgCode, PacksSqlstateAndReadsItBack) {
    struct Case {
        std::string sqlstate;
        std::uint64_t code;
        std::string readBack;
    };
    const std::vector<Case> cases = {
        {"23505", 0x5047003233353035ULL, "23505"},
        {"40001", 0x5047003430303031ULL, "40001"},
        {"42P01", 0x5047003432503031ULL, "42P01"},
        {"42p01", 0x5047003432503031ULL, "42P01"},
        {"XX000", kInternalError, "XX000"},
        // Not a SQLSTATE: reported as an internal error.
        {"", kInternalError, "XX000"},
        {"2350", kInternalError, "XX000"},
        {"235050", kInternalError, "XX000"},
        {"23-05", kInternalError, "XX000"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.sqlstate);
        EXPECT_EQ(pgCodeFromSqlstate(c.sqlstate), c.code);
        EXPECT_EQ(sqlstateFromCode(c.code), c.readBack);
    }
}

TEST(PgCode, OtherCodesCarryNoSqlstate) {
    const std::vector<std::uint64_t> codes = {
        0,
        1,
        2067,                             // SQLITE_CONSTRAINT_UNIQUE
        0x10002,                          // an adapter refusal
        kPgCodeMarker,                    // marker with no characters
        0x5047FF3233353035ULL,            // spare byte not zero
        0x5147003233353035ULL,            // another marker
        kPgCodeMarker | 0x3233352D35ULL,  // '-' is no SQLSTATE character
    };
    for (const auto code : codes) {
        EXPECT_EQ(sqlstateFromCode(code), "") << std::hex << code;
    }
}

}  // namespace

// The same fault gets the same category on every store; the library's own
// refusals are told apart from SQLite's generic error.
#include "exec/diagnostics/error_category.h"

#include <gtest/gtest.h>

#include "vorn/platform/error_codes.h"

namespace vorn {
inline void PrintTo(ErrorCategory category, std::ostream* out) {
    *out << toString(category);
}
}  // namespace vorn

namespace {

using vorn::ErrorCategory;
using vorn::diag::classify;
using vorn::platform::pgCodeFromSqlstate;
namespace errc = vorn::platform::errc;

TEST(ErrorCategory, EachFaultHasOneCategoryOnBothStores) {
    const struct {
        ErrorCategory category;
        std::uint64_t sqliteCode;
        const char* sqliteMessage;
        const char* sqliteState;
        const char* pgState;
    } cases[] = {
        {ErrorCategory::Syntax, 1, "near \"selec\": syntax error", "42601", "42601"},
        {ErrorCategory::Syntax, 1, "no such table: t", "42P01", "42P01"},
        {ErrorCategory::Constraint, 2067, "UNIQUE constraint failed", "23505", "23505"},
        {ErrorCategory::Constraint, 1555, "", "23505", "23505"},
        {ErrorCategory::Constraint, 787, "", "23503", "23503"},
        {ErrorCategory::Constraint, 1299, "", "23502", "23502"},
        {ErrorCategory::Constraint, 275, "", "23514", "23514"},
        {ErrorCategory::Busy, 5, "database is locked", "55P03", "55P03"},
        {ErrorCategory::Busy, 517, "", "40001", "40001"},
        {ErrorCategory::Busy, 262, "", "55P03", "40P01"},
        {ErrorCategory::ConnectionLost, 14, "unable to open", "08001", "08006"},
        {ErrorCategory::Permission, 8, "attempt to write a readonly database", "25006", "25006"},
        {ErrorCategory::Permission, 23, "", "42501", "42501"},
        {ErrorCategory::InvalidValue, 18, "string or blob too big", "22001", "22001"},
        {ErrorCategory::Timeout, 9, "interrupted", "57014", "57014"},
        {ErrorCategory::Other, 13, "database or disk is full", "53100", "53100"},
        {ErrorCategory::Other, 1, "cannot commit - no transaction is active", "HY000", "25P02"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.sqliteMessage);
        const auto sqlite = classify(c.sqliteCode, c.sqliteMessage, false);
        EXPECT_EQ(sqlite.category, c.category) << c.sqliteCode;
        EXPECT_EQ(sqlite.sqlstate, c.sqliteState);
        EXPECT_EQ(sqlite.storeCode, c.sqliteCode);
        const auto pg = classify(pgCodeFromSqlstate(c.pgState), "", false);
        EXPECT_EQ(pg.category, c.category) << c.pgState;
        EXPECT_EQ(pg.sqlstate, c.pgState);
        EXPECT_EQ(pg.storeCode, 0U);
    }
}

TEST(ErrorCategory, TheLibrarysOwnCodesAreRefusals) {
    EXPECT_EQ(classify(0, "", false).category, ErrorCategory::None);
    EXPECT_EQ(classify(1, "", true).category, ErrorCategory::Refused);
    for (const std::uint64_t code :
         {errc::kDataSourceInvalid, errc::kMultipleStatements, errc::kBadParameters,
          errc::kNoResult, errc::kUnknownPlaceholder, errc::kInheritedResult}) {
        EXPECT_EQ(classify(code, "", false).category, ErrorCategory::Refused) << code;
    }
    EXPECT_STREQ(toString(ErrorCategory::ConnectionLost), "ConnectionLost");
    EXPECT_STREQ(toString(ErrorCategory::None), "None");
}

}  // namespace

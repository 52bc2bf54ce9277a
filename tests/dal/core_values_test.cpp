// Values of the data-access interface that need no store.
#include "dal_fixture.h"

namespace vorn::test {
namespace {

TEST(StatementIdTest, JoinsSourceFunctionAndLine) {
    EXPECT_EQ(platform::makeStatementId("MiraDB", "execReadSQL", 63), "MiraDB:execReadSQL:63");
    EXPECT_EQ(platform::makeStatementId(nullptr, nullptr, -1), "::-1");
}

TEST(ExecResultTest, AFailureMayComeWithoutDetail) {
    const ExecResult failed = ExecResult::failureWithoutDetail(5);
    EXPECT_FALSE(failed.ok());
    EXPECT_EQ(failed.errorCode(), 5U);
    EXPECT_FALSE(failed.detail().has_value());
}

}  // namespace
}  // namespace vorn::test

// Values of the data-access interface that need no store.
#include "dal_fixture.h"

namespace vorn::test {
namespace {

TEST(StatementIdTest, JoinsSourceFunctionAndLine) {
    EXPECT_EQ(platform::makeStatementId("MiraDB", "execReadSQL", 63), "MiraDB:execReadSQL:63");
    EXPECT_EQ(platform::makeStatementId(nullptr, nullptr, -1), "::-1");
}

}  // namespace
}  // namespace vorn::test

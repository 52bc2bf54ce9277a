// The executor against the store: refusals and the session-name rule, which
// also shows that the guard's own name is ignored. Store failures and what
// they keep: bad_input_test.cpp; transaction calls: batch_exec_test.cpp and
// bound_statement_test.cpp, their answers when misplaced:
// tests/conformance/log_rules_test.cpp.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "store_fixture.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

class ExecutorTest : public StoreTest {};

// What each call logs is in tests/conformance/log_rules_test.cpp; here, what
// the calls do.
TEST_F(ExecutorTest, EmptyStatementsAreRefusedWithoutOpeningASession) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    CVORNsqlstr statement;
    statement.assign("create table t(x integer)");
    statement.clear();
    CVORNReader reader;

    EXPECT_EQ(db->execWriteSQL(statement), 1u);
    EXPECT_EQ(db->execReadSQL(statement, reader), 1u);
    EXPECT_FALSE(reader.hasNextElement());
    EXPECT_FALSE(storeUsed("default"));
}

// The process identity used by the session-name rule.
std::uint64_t g_processId = 0;
std::uint64_t fakeProcessId() {
    return g_processId;
}

struct SessionCase {
    bool useProcessSessionName;
    std::uint64_t processId;
    const char* session;
};

void PrintTo(const SessionCase& c, std::ostream* out) {
    *out << (c.useProcessSessionName ? "by process " : "flag clear, process ") << c.processId;
}

class SessionNameTest : public StoreTest, public ::testing::WithParamInterface<SessionCase> {};

TEST_P(SessionNameTest, ChoosesTheStoreByFlagAndProcessIdentity) {
    g_processId = GetParam().processId;
    platform::setProcessIdSource(&fakeProcessId);

    CVORN* db = nullptr;
    GuardDB guard("SettingInfoDB", db, GetParam().useProcessSessionName);
    EXPECT_STREQ(static_cast<MIRAsqlDB*>(db)->sessionName(), GetParam().session);
    CVORNsqlstr create;
    create.assign("create table marker(x integer)");
    ASSERT_EQ(db->execWriteSQL(create), 0u);

    for (const char* session : {"default", "NeBackupDB", "NeUpgradeDB", "SettingInfoDB"}) {
        EXPECT_EQ(storeUsed(session), std::string(session) == GetParam().session) << session;
    }
}

INSTANTIATE_TEST_SUITE_P(Rule, SessionNameTest,
                         ::testing::Values(SessionCase{false, 4073, "default"},
                                           SessionCase{false, 4222, "default"},
                                           SessionCase{false, 1234, "default"},
                                           SessionCase{true, 4073, "NeBackupDB"},
                                           SessionCase{true, 4222, "NeBackupDB"},
                                           SessionCase{true, 4073 + 65536, "NeBackupDB"},
                                           SessionCase{true, 4222 + 3 * 65536, "NeBackupDB"},
                                           SessionCase{true, 4074, "NeUpgradeDB"},
                                           SessionCase{true, 65536, "NeUpgradeDB"},
                                           SessionCase{true, 1234, "NeUpgradeDB"}));

}  // namespace
}  // namespace vorn::test

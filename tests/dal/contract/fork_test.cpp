// fork() with connections open: the child opens its own and leaves the
// parent's alone, so both go on at once. Each child reports through its exit
// status, and is waited for with a bound, so a hang fails the test instead of
// stopping the suite.
#include <chrono>
#include <optional>

#include "child_process.h"
#include "dal_fixture.h"
#include "vorn/connections.h"

namespace vorn::test {
namespace {

using namespace std::chrono_literals;

constexpr int kRowsEach = 200;

// Inserts rows first .. first + kRowsEach - 1 one call each; 0, or the
// number of calls that failed.
int insertRows(const std::string& session, int first) {
    int failed = 0;
    for (int id = first; id < first + kRowsEach; ++id) {
        failed +=
            run(session, "insert into t values(" + std::to_string(id) + ", 'w')").ok() ? 0 : 1;
    }
    return failed;
}

using ForkTest = DalTest;

TEST_F(ForkTest, AChildOpensItsOwnConnectionAndBothWriteAtOnce) {
    seed();
    markConnection();
    const pid_t child = spawn([&] {
        const int failed = insertRows(m_session, 1000);
        // Its own connection: the parent's TEMP table is not there.
        const bool inherited = sameConnection();
        return failed > 0 ? 1 : inherited ? 2 : 0;
    });
    ASSERT_GT(child, 0);
    EXPECT_EQ(insertRows(m_session, 2000), 0);
    EXPECT_EQ(waitFor(child, 60s), 0) << "1: writes failed, 2: used the parent's connection, "
                                         "-1: hung or crashed";
    EXPECT_TRUE(sameConnection());  // the parent's connection is untouched
    EXPECT_EQ(query(m_session, "select count(*) from t"),
              (Rows{{std::to_string(2 + 2 * kRowsEach)}}));
}

TEST_F(ForkTest, AReaderOpenAtTheForkStaysTheParents) {
    markConnection();
    std::optional<DataSession> reader(std::in_place, m_session.c_str());
    open(*reader, series(100));
    Row row;
    ExecResult status;
    ASSERT_TRUE(reader->fetchRow(status, rowTarget(row), 1));
    const pid_t child = spawn([&] {
        const bool refused = !reader->fetchRow(status, rowTarget(row), 1) &&
                             status.errorCode() == errc::kInheritedResult;
        reader.reset();
        closeConnections();
        const bool ownReads =
            query(m_session, "select count(*) from (" + series(10) + ") s") == Rows{{"10"}};
        return refused ? (ownReads ? 0 : 2) : 1;
    });
    ASSERT_GT(child, 0);
    EXPECT_EQ(waitFor(child, 60s), 0)
        << "1: the child read the parent's result, "
           "2: the child could not read on its own, -1: hung or crashed";
    // The parent reads on from where it was, on its own connection.
    Rows rest = fetchAll(*reader);
    ASSERT_EQ(rest.size(), 99U);
    EXPECT_EQ(rest.front(), std::vector<std::string>{"2"});
    EXPECT_EQ(rest.back(), std::vector<std::string>{"100"});
    reader.reset();
    EXPECT_TRUE(sameConnection());
}

}  // namespace
}  // namespace vorn::test

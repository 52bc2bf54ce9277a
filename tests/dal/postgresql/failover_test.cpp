// A URL that names where the session may go (several hosts, or
// target_session_attrs) gets its connect tried again until a server accepts
// the session, within the connect timeout: a call made while a standby is
// being promoted waits for it instead of failing. Here a role whose sessions
// are read-only stands for a server that is still a standby.
#include <chrono>
#include <string>
#include <thread>

#include "dal_fixture.h"
#include "log_capture.h"
#include "vorn/connections.h"

namespace vorn::test {
namespace {

using namespace std::chrono_literals;

class PgFailover : public PgTest {
  protected:
    void prepare() override {
        seed();
        m_role = m_schema + "_role";
        ASSERT_TRUE(adminExecute("create role " + m_role + " login superuser"));
        readOnly(true);
    }
    void TearDown() override {
        closeConnections();
        if (!m_role.empty()) {
            adminExecute("drop role " + m_role);
        }
        PgTest::TearDown();
    }

    // New sessions of the role are read-only (as on a standby), or not.
    void readOnly(bool on) const {
        ASSERT_TRUE(adminExecute("alter role " + m_role +
                                 (on ? " set default_transaction_read_only = on"
                                     : " reset default_transaction_read_only")));
    }
    // The session's URL as the role, asking for a server that takes writes.
    void bindReadWrite(int connectTimeout) {
        std::string url = m_url;
        url.replace(url.find("://vorn@"), 8, "://" + m_role + "@");
        url = withOptions(url, "target_session_attrs=read-write&connect_timeout=" +
                                   std::to_string(connectTimeout));
        ASSERT_EQ(bindDataSource(m_session, url), 0U);
    }

    std::string m_role;
};

// Without a server that takes writes, the call fails once the connect timeout
// has passed; with a longer one it waits for such a server.
TEST_F(PgFailover, ACallWaitsForAServerThatTakesWritesUpToTheConnectTimeout) {
    bindReadWrite(1);
    const auto start = std::chrono::steady_clock::now();
    const ExecResult failed = run(m_session, "insert into t values (3, 'b')");
    // A bound on the wait, to catch a call that would never return.
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
    EXPECT_EQ(failed.errorCode(), pgCode("08001"));
    EXPECT_NE(detailOf(failed).find("read-only"), std::string::npos) << detailOf(failed);

    bindReadWrite(20);
    LogCapture log;
    std::thread promotion([this] {
        std::this_thread::sleep_for(500ms);
        readOnly(false);
    });
    const ExecResult status = run(m_session, "insert into t values (3, 'b')");
    promotion.join();
    EXPECT_TRUE(status.ok()) << detailOf(status);
    EXPECT_NE(log.containing("accepted the session after"), "");
    // Row 3 is the second call's: the first wrote nothing.
    EXPECT_EQ(all(), (Rows{{"1", "one"}, {"2", "two"}, {"3", "b"}}));
}

}  // namespace
}  // namespace vorn::test

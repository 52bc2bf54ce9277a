// Every call comes back by its deadline, on every store: a statement that
// would run for hours ends at the deadline of its thread or of its data
// source, cancelCalls() ends the calls in flight (of every session name, or
// of one), and the session serves the next call with every stored row there.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>

#include "store_fixture.h"
#include "vorn/vorn.h"

namespace vorn::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kDeadline{300};
// What a call may take beyond its deadline: the cancel and its answer.
constexpr milliseconds kOvertime{1000};

// A statement that runs far longer than any test waits.
std::string endless(bool write) {
    const std::string rows =
        onPostgres()
            ? "select count(*) from generate_series(1, 100000) a, generate_series(1, 100000) b"
            : "with recursive c(x) as (select 1 union all select x + 1 from c) "
              "select count(*) from c";
    return write ? "insert into kept(id, name) " +
                       std::string(onPostgres() ? "select 4, 'x' from (" + rows + ") n"
                                                : "with recursive c(x) as (select 1 union all "
                                                  "select x + 1 from c) select 4, 'x' from c "
                                                  "where x = 0")
                 : rows;
}

struct Outcome {
    unsigned long code = 0;
    ErrorInfo error;
    Clock::duration took{};
};

Outcome run(const std::string& sql, bool write) {
    Outcome out;
    const Clock::time_point start = Clock::now();
    if (write) {
        out.code = runWrite(sql);
    } else {
        (void)readRows(sqlText(sql), 1, &out.code);
    }
    out.took = Clock::now() - start;
    out.error = lastError();
    return out;
}

class DeadlineTest : public StoreTest {
  protected:
    void prepare() override { seedKept(); }

    // Binds "default" to its store again, with vorn_call_timeout.
    void bindWithCallTimeout() {
        const std::string option = "vorn_call_timeout=" + std::to_string(kDeadline.count());
        const std::string url = onPostgres() ? withOptions(m_stores.at("default").url, option)
                                             : "sqlite:" + m_dir.file("default.db") + "?" + option;
        ASSERT_EQ(bindDataSource("default", url), 0u);
    }

    static void expectTimedOut(const Outcome& out, milliseconds bound, const std::string& what) {
        EXPECT_NE(out.code, 0u) << what;
        EXPECT_EQ(out.error.category, ErrorCategory::Timeout) << what << ": " << out.error.message;
        EXPECT_EQ(out.error.sqlstate, "57014") << what;
        EXPECT_LT(out.took, bound + kOvertime) << what;
    }

    // The session serves the next call, and nothing stored went missing.
    static void expectStoreIntact(const std::string& what) {
        EXPECT_EQ(keptRows(), seededKept()) << what;
    }
};

TEST_F(DeadlineTest, ALongStatementEndsAtTheDeadlineOfItsThreadOrOfItsDataSource) {
    for (const bool fromSource : {false, true}) {
        for (const bool write : {false, true}) {
            const std::string what =
                std::string(fromSource ? "vorn_call_timeout" : "CallDeadline") +
                (write ? ", write" : ", read");
            if (fromSource) {
                bindWithCallTimeout();
            }
            Outcome out;
            if (fromSource) {
                out = run(endless(write), write);
            } else {
                const CallDeadline deadline(kDeadline);
                out = run(endless(write), write);
            }
            expectTimedOut(out, kDeadline, what);
            expectStoreIntact(what);
        }
    }
}

TEST_F(DeadlineTest, CancelCallsEndsTheCallsInFlightOfEverySessionNameOrOfOne) {
    struct Case {
        const char* what;
        void (*cancel)();
    };
    const Case cases[] = {
        {"every call", [] { cancelCalls(); }},
        {"the session name's calls", [] { cancelCalls("default"); }},
    };
    for (const Case& c : cases) {
        auto read = std::async(std::launch::async, [] { return run(endless(false), false); });
        // Another session name's cancellation leaves the read running.
        std::this_thread::sleep_for(kDeadline);
        cancelCalls("NeBackupDB");
        EXPECT_EQ(read.wait_for(kDeadline), std::future_status::timeout) << c.what;
        const Clock::time_point cancelled = Clock::now();
        c.cancel();
        const Outcome out = read.get();
        expectTimedOut(out, milliseconds(0), c.what);
        EXPECT_LT(Clock::now() - cancelled, kOvertime) << c.what;
        EXPECT_EQ(runQuery("select 1", 1), Rows{{"1"}}) << c.what;
    }
    expectStoreIntact("after the cancellations");
}

}  // namespace
}  // namespace vorn::test

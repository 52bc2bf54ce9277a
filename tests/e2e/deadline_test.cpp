// Every call comes back by its deadline, on every store: a statement that
// would run for hours ends at the deadline of its thread or of its data
// source, cancelCalls() ends the calls in flight (of every session name, or
// of one), and the session serves the next call with every stored row there.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <optional>
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

    // Binds "default" to its store again, with vorn_call_timeout (and on
    // PostgreSQL a row per round trip, so that a read's rows come by fetch).
    void bindWithCallTimeout(bool timeout = true) {
        if (!timeout && !onPostgres()) {
            return;
        }
        std::string option = timeout ? "vorn_call_timeout=" + std::to_string(kDeadline.count())
                                     : "vorn_fetch_rows=1";
        if (onPostgres() && timeout) {
            option += "&vorn_fetch_rows=1";
        }
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

// A thousand rows come at once (more than a server sends in one go), the
// last takes for ever.
std::string slowLastRow() {
    const std::string rows = onPostgres() ? "generate_series(1, 1000) g"
                                          : "(with recursive s(g) as (select 1 union all "
                                            "select g + 1 from s where g < 1000) select g from s)";
    const std::string forever =
        onPostgres() ? "(select count(*) from pg_sleep(3600))"
                     : "(with recursive c(x) as (select 1 union all select x + 1 from c) "
                       "select count(*) from c)";
    const std::string padding = onPostgres() ? "repeat('x', 100)" : "printf('%100d', g)";
    return "select case when g = 1000 then " + forever + " else g end, " + padding + " from " +
           rows;
}

// Where a read's rows stream, its last fetch meets the deadline; where they
// come whole (through a pooler in transaction mode), the read itself does.
TEST_F(DeadlineTest, EachFetchOfAReaderEndsAtTheDeadlineOfItsThreadOrOfItsDataSource) {
    const bool streamed = !onPostgres() || poolerUrl().empty();
    for (const bool fromSource : {false, true}) {
        const std::string what = fromSource ? "vorn_call_timeout" : "CallDeadline";
        bindWithCallTimeout(fromSource);
        std::optional<CallDeadline> deadline;
        if (!fromSource) {
            deadline.emplace(kDeadline);
        }
        Outcome out;
        int rows = 0;
        {
            const Clock::time_point start = Clock::now();
            OpenQuery query(slowLastRow());
            while (query.code == 0 && query.reader.hasNextElement()) {
                ++rows;
            }
            out.took = Clock::now() - start;
            out.error = lastError();
            out.code = query.code != 0 ? query.code : out.error.code;
        }
        deadline.reset();
        EXPECT_EQ(rows, streamed ? 999 : 0) << what;
        // With the data source's deadline, the read and each fetch have one each.
        expectTimedOut(out, fromSource ? 2 * kDeadline : kDeadline, what);
        expectStoreIntact(what);
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

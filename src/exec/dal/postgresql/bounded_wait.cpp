#include "exec/dal/postgresql/bounded_wait.h"

#include <poll.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "exec/dal/call_bound.h"

namespace vorn::dal {
namespace {

// After the end of a call: how long the cancel request may take to be sent,
// and how long the server then has to answer, in all.
constexpr std::chrono::milliseconds kOvertime{900};
// Cancel requests still in flight (each on a thread of its own) beyond which
// no more are sent: a server that answers none of them is not helped by more,
// and the connections are given up anyway.
constexpr int kMostCancelsInFlight = 8;

std::atomic<int> g_cancelsInFlight{0};

struct CancelOutcome {
    std::mutex mutex;
    std::condition_variable done;
    bool sent = false;
};

// libpq's PQcancel opens a connection of its own to the server and waits for
// the server to close it, with no bound: a stopped server or a stalled proxy
// holds it for as long as the fault lasts. It runs on a thread of its own,
// which the call waits for until until and then leaves to finish alone.
void requestCancel(PGconn* conn, CallClock::time_point until) {
    if (g_cancelsInFlight.fetch_add(1, std::memory_order_acq_rel) >= kMostCancelsInFlight) {
        g_cancelsInFlight.fetch_sub(1, std::memory_order_acq_rel);
        return;
    }
    PGcancel* cancel = PQgetCancel(conn);
    if (cancel == nullptr) {
        g_cancelsInFlight.fetch_sub(1, std::memory_order_acq_rel);
        return;
    }
    auto outcome = std::make_shared<CancelOutcome>();
    try {
        std::thread([cancel, outcome] {
            char error[256];
            (void)PQcancel(cancel, error, sizeof error);
            PQfreeCancel(cancel);
            g_cancelsInFlight.fetch_sub(1, std::memory_order_acq_rel);
            std::lock_guard<std::mutex> lock(outcome->mutex);
            outcome->sent = true;
            outcome->done.notify_all();
        }).detach();
    } catch (...) {  // no thread to be had: the connection is given up unasked
        PQfreeCancel(cancel);
        g_cancelsInFlight.fetch_sub(1, std::memory_order_acq_rel);
        return;
    }
    std::unique_lock<std::mutex> lock(outcome->mutex);
    outcome->done.wait_until(lock, until, [&] { return outcome->sent; });
}

// The call is over while waiting: cancel once, then wait in the overtime.
bool overtimeBegun(PGconn* conn) {
    if (inOvertime()) {
        return false;  // the overtime is over too
    }
    const CallClock::time_point until = CallClock::now() + kOvertime;
    beginOvertime(until);
    requestCancel(conn, until);
    return true;
}

PgWait await(PGconn* conn, short events) {
    for (;;) {
        switch (waitForSocket(PQsocket(conn), events)) {
            case WaitEnd::Ready:
                return PgWait::Ready;
            case WaitEnd::Failed:
                return PgWait::Failed;
            case WaitEnd::Expired:
                if (!overtimeBegun(conn)) {
                    return PgWait::GiveUp;
                }
                break;
        }
    }
}

}  // namespace

PGconn* pgConnectWithin(const char* const* keywords, const char* const* values,
                        CallClock::time_point limit, bool& expired) {
    expired = false;
    PGconn* conn = PQconnectStartParams(keywords, values, 1);
    if (conn == nullptr || PQstatus(conn) == CONNECTION_BAD) {
        return conn;
    }
    PostgresPollingStatusType state = PGRES_POLLING_WRITING;
    while (state != PGRES_POLLING_OK && state != PGRES_POLLING_FAILED) {
        // The socket changes as libpq moves from one address to the next.
        const short events = state == PGRES_POLLING_READING ? POLLIN : POLLOUT;
        const WaitEnd end = waitForSocket(PQsocket(conn), events, limit);
        if (end != WaitEnd::Ready) {
            expired = end == WaitEnd::Expired;
            // Nothing was asked of the server yet: the half-open connection
            // is closed with nothing to undo.
            PQsetnonblocking(conn, 1);
            PQfinish(conn);
            return nullptr;
        }
        state = PQconnectPoll(conn);
    }
    return conn;
}

void pgRequestCancel(PGconn* conn) {
    requestCancel(conn, CallClock::now() + kOvertime);
}

PgWait pgAwaitResult(PGconn* conn) {
    while (PQisBusy(conn) == 1) {
        const PgWait wait = await(conn, POLLIN);
        if (wait != PgWait::Ready) {
            return wait;
        }
        if (PQconsumeInput(conn) != 1) {
            return PgWait::Failed;
        }
    }
    return PgWait::Ready;
}

PgWait pgAwaitSocket(PGconn* conn, bool forWrite) {
    return await(conn, static_cast<short>(POLLIN | (forWrite ? POLLOUT : 0)));
}

PgWait pgFlushAll(PGconn* conn) {
    for (;;) {
        const int pending = PQflush(conn);
        if (pending == 0) {
            return PgWait::Ready;
        }
        if (pending < 0) {
            return PgWait::Failed;
        }
        const PgWait wait = pgAwaitSocket(conn, true);
        if (wait != PgWait::Ready) {
            return wait;
        }
        if (PQconsumeInput(conn) != 1) {
            return PgWait::Failed;
        }
    }
}

}  // namespace vorn::dal

#include "exec/dal/postgresql/connect.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include "exec/dal/call_bound.h"
#include "exec/dal/postgresql/bounded_wait.h"
#include "exec/dal/postgresql/errors.h"
#include "exec/platform/secret_mask.h"
#include "vorn/platform/logger.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;

// Opens the connection. With one server the wait is the library's, within
// the call's bound and connect_timeout. With several, only libpq's own
// blocking connect moves on to the next server when one does not answer
// within connect_timeout: it gets a connect_timeout no longer than what is
// left of the call (libpq counts whole seconds, two at least).
PGconn* openConnection(const PgSettings& settings, bool& expired) {
    std::vector<const char*> keywords;
    std::vector<const char*> values;
    settings.connectParameters(keywords, values);
    expired = false;
    if (!settings.severalServers) {
        return pgConnectWithin(
            keywords.data(), values.data(),
            CallClock::now() + std::chrono::seconds(settings.connectTimeoutSeconds), expired);
    }
    std::string timeout;
    const CallClock::time_point deadline = callDeadline();
    if (deadline != CallClock::time_point::max()) {
        const auto left = std::chrono::ceil<std::chrono::seconds>(deadline - CallClock::now());
        const long seconds = std::max<long>(2, static_cast<long>(left.count()));
        if (seconds < settings.connectTimeoutSeconds) {
            timeout = std::to_string(seconds);
            keywords.insert(keywords.end() - 1, "connect_timeout");
            values.insert(values.end() - 1, timeout.c_str());
        }
    }
    PGconn* conn = PQconnectdbParams(keywords.data(), values.data(), 1);
    expired = callExpired();
    return conn;
}

// One connection attempt; null with status set on failure.
PGconn* connectOnce(const PgSettings& settings, const std::vector<std::string>& secrets,
                    ExecResult& status) {
    bool expired = false;
    PGconn* conn = openConnection(settings, expired);
    if (expired && (conn == nullptr || PQstatus(conn) != CONNECTION_OK)) {
        PQfinish(conn);
        status = callExpired()
                     ? pgFailure(pgstate::kQueryCanceled,
                                 std::string("connecting to PostgreSQL: ") + callEndReason())
                     : pgFailure(pgstate::kCannotConnect,
                                 "cannot connect to PostgreSQL: no answer within "
                                 "connect_timeout");
        return nullptr;
    }
    if (conn == nullptr) {
        status = pgFailure(pgstate::kCannotConnect, "cannot connect to PostgreSQL: out of memory");
        return nullptr;
    }
    if (PQstatus(conn) != CONNECTION_OK) {
        const std::string message = pgOneLine(PQerrorMessage(conn));
        status = pgFailure(
            pgConnectState(message, PQconnectionNeedsPassword(conn) == 1),
            "cannot connect to PostgreSQL: " + platform::SecretMask::mask(message, secrets));
        PQfinish(conn);
        return nullptr;
    }
    return conn;
}

}  // namespace

PGconn* pgConnect(const PgSettings& settings, const std::vector<std::string>& secrets,
                  ExecResult& status) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds kFirstPause{20};
    constexpr std::chrono::milliseconds kLongestPause{200};
    const Clock::time_point start = Clock::now();
    const Clock::time_point deadline = start + std::chrono::seconds(settings.connectTimeoutSeconds);
    std::chrono::milliseconds pause = kFirstPause;
    for (int attempt = 1;; ++attempt) {
        PGconn* conn = connectOnce(settings, secrets, status);
        if (conn != nullptr && attempt > 1) {
            const auto waited =
                std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
            platform::Logger::info({"PgLink", "connect", __LINE__},
                                   "[VORNLib]PostgreSQL: a server accepted the session after " +
                                       std::to_string(attempt) + " attempts in " +
                                       std::to_string(waited.count()) + " ms");
        }
        if (conn != nullptr || !settings.severalServers || Clock::now() + pause >= deadline ||
            Clock::now() + pause >= callDeadline() || callCancelled()) {
            return conn;
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, kLongestPause);
    }
}

}  // namespace vorn::dal

#include "exec/dal/postgresql/connect.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include "exec/dal/postgresql/errors.h"
#include "exec/platform/secret_mask.h"
#include "vorn/platform/logger.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;

// One connection attempt; null with status set on failure.
PGconn* connectOnce(const PgSettings& settings, const std::vector<std::string>& secrets,
                    ExecResult& status) {
    std::vector<const char*> keywords;
    std::vector<const char*> values;
    settings.connectParameters(keywords, values);
    PGconn* conn = PQconnectdbParams(keywords.data(), values.data(), 1);
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
        if (conn != nullptr || !settings.severalServers || Clock::now() + pause >= deadline) {
            return conn;
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, kLongestPause);
    }
}

}  // namespace vorn::dal

#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "vorn/diagnostics.h"
#include "vorn/platform/data_access.h"
#include "vorn/reader.h"

// The recording of the calls of database objects: each call's outcome becomes
// the thread's last error, a line of the statistics, an event for the
// observer and, when slow, a log line.
namespace vorn::diag {

using Clock = std::chrono::steady_clock;

// How a call ended.
struct Outcome {
    unsigned long code = 0;
    // The store's or the library's text; null when there is none.
    const std::string* message = nullptr;
    // The library refused the call itself (code 1 is then not SQLite's).
    bool refused = false;
    std::uint64_t rows = 0;
};

// Outcome of a data-access result.
Outcome outcomeOf(const platform::ExecResult& status);

// Records one finished statement: text is what ran (the SQL text, or BEGIN /
// COMMIT / ROLLBACK), session the session name it ran on.
void record(StatementKind kind, const char* session, std::string_view text, Clock::time_point start,
            const Outcome& outcome);

// A read from its start to its end: made by execReadSQL, kept by the reader
// while rows are fetched, and recorded once when the read ends.
class PendingRead {
  public:
    PendingRead(std::string session, std::string text, Clock::time_point start)
        : m_session(std::move(session)), m_text(std::move(text)), m_start(start) {}
    PendingRead(const PendingRead&) = delete;
    PendingRead& operator=(const PendingRead&) = delete;

    void countRow() noexcept { ++m_rows; }
    // The end of the read: its rows are all fetched (status success) or a fetch failed.
    void finish(const platform::ExecResult& status);

  private:
    std::string m_session;
    std::string m_text;
    Clock::time_point m_start;
    std::uint64_t m_rows = 0;
};

// What the executor does to a reader, and nothing more.
class ReadGate {
  public:
    // Records the read still open on reader, if any, as ended.
    static void endRead(CVORNReader& reader) noexcept;
    // Keeps read with reader until its rows end.
    static void startRead(CVORNReader& reader, std::unique_ptr<PendingRead> read) noexcept;
};

// Sets the thread's last error from the outcome of a call that is not
// recorded yet (a read that has started; cleared by a success).
void noteOutcome(const char* session, const platform::ExecResult& status);

// Records that vorn::runTransaction runs a unit again because of cause (a
// StatementKind::Retry of text "RETRY" on session, lasting the back-off):
// the statistics, the observer and the slow log, not the last error.
void recordRetry(const char* session, const ErrorInfo& cause, std::chrono::nanoseconds backoff);

// Makes error the thread's last error again, after calls of the library's own
// (the rollback of a failed unit) have replaced it.
void restoreLastError(const ErrorInfo& error);

// vorn::lastError() is the thread's last error as record and noteOutcome
// noted it (call_record.cpp).

}  // namespace vorn::diag

#include "exec/diagnostics/call_record.h"

#include <algorithm>

#include "exec/dal/error_class.h"
#include "exec/diagnostics/observer.h"
#include "exec/diagnostics/statistics_store.h"
#include "vorn/keywords.h"
#include "vorn/platform/logger.h"

namespace vorn::diag {
namespace {

thread_local ErrorInfo t_lastError;

// The thread's last error after a call on session ended as outcome says.
void noteLastError(const char* session, const Outcome& outcome, const dal::ErrorClass& classified) {
    ErrorInfo& last = t_lastError;
    if (outcome.code == 0) {
        if (last.code != 0) {
            last = ErrorInfo();
        }
        return;
    }
    last.code = outcome.code;
    last.category = classified.category;
    last.sqlstate = classified.sqlstate;
    last.storeCode = classified.storeCode;
    last.message =
        outcome.message != nullptr ? platform::LogScrubber::scrub(*outcome.message) : std::string();
    last.session = session != nullptr ? session : "";
}

// text scrubbed and cut to kMaxEventText bytes (cut before the scrubbing too,
// so a long statement costs no more than a short one).
std::string eventText(std::string_view text) {
    std::string scrubbed = platform::LogScrubber::scrub(std::string(text.substr(0, kMaxEventText)));
    scrubbed.resize(std::min(scrubbed.size(), kMaxEventText));
    return scrubbed;
}

void logSlow(const StatementEvent& event) {
    using std::chrono::duration_cast;
    using std::chrono::milliseconds;
    std::string line(text::kLogTag);
    line += "slow statement: ";
    line += std::to_string(duration_cast<milliseconds>(event.duration).count());
    line += " ms, ";
    line += std::to_string(event.rows);
    line += " rows, ";
    line += toString(event.kind);
    line += " on session ";
    line += event.session;
    line += ", code ";
    line += std::to_string(event.code);
    line += ": ";
    line += event.text;
    platform::Logger::info({"Diagnostics", "slowStatement", __LINE__}, line);
}

dal::ErrorClass classifiedOf(const Outcome& outcome, const char* session) {
    if (outcome.code == 0) {
        return {};
    }
    return dal::classifySessionFailure(
        outcome.code,
        outcome.message != nullptr ? std::string_view(*outcome.message) : std::string_view(),
        outcome.refused, session != nullptr ? session : "");
}

}  // namespace

Outcome outcomeOf(const platform::ExecResult& status) {
    Outcome outcome;
    outcome.code = status.errorCode();
    outcome.message = status.detail() ? &*status.detail() : nullptr;
    outcome.rows = status.rows();
    return outcome;
}

void record(StatementKind kind, const char* session, std::string_view text, Clock::time_point start,
            const Outcome& outcome) {
    const std::chrono::nanoseconds duration = Clock::now() - start;
    const dal::ErrorClass classified = classifiedOf(outcome, session);
    noteLastError(session, outcome, classified);
    const char* name = session != nullptr ? session : "";
    addStatistics(kind, name, duration, outcome.rows, classified.category);
    const bool slow = isSlow(duration);
    if (!slow && !observing()) {
        return;
    }
    const std::string scrubbed = eventText(text);
    const StatementEvent event{
        name, kind, duration, outcome.rows, outcome.code, classified.category, scrubbed};
    if (slow) {
        logSlow(event);
    }
    notifyObserver(event);
}

void recordRetry(const char* session, const ErrorInfo& cause, std::chrono::nanoseconds backoff) {
    const char* name = session != nullptr ? session : "";
    addStatistics(StatementKind::Retry, name, backoff, 0, cause.category);
    const bool slow = isSlow(backoff);
    if (!slow && !observing()) {
        return;
    }
    const StatementEvent event{name,       StatementKind::Retry, backoff, 0,
                               cause.code, cause.category,       "RETRY"};
    if (slow) {
        logSlow(event);
    }
    notifyObserver(event);
}

void restoreLastError(const ErrorInfo& error) {
    t_lastError = error;
}

void PendingRead::finish(const platform::ExecResult& status) {
    Outcome outcome = outcomeOf(status);
    outcome.rows = m_rows;
    record(StatementKind::Read, m_session.c_str(), m_text, m_start, outcome);
}

void noteOutcome(const char* session, const platform::ExecResult& status) {
    const Outcome outcome = outcomeOf(status);
    noteLastError(session, outcome, classifiedOf(outcome, session));
}

}  // namespace vorn::diag

namespace vorn {

ErrorInfo lastError() {
    return diag::t_lastError;
}

const char* toString(StatementKind kind) noexcept {
    switch (kind) {
        case StatementKind::Read:
            return "read";
        case StatementKind::Write:
            return "write";
        case StatementKind::Batch:
            return "batch";
        case StatementKind::Begin:
            return "begin";
        case StatementKind::Commit:
            return "commit";
        case StatementKind::Rollback:
            return "rollback";
        case StatementKind::Retry:
            return "retry";
    }
    return "?";
}

}  // namespace vorn

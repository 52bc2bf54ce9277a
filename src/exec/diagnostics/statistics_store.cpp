#include "exec/diagnostics/statistics_store.h"

#include <pthread.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <tuple>

namespace vorn::diag {
namespace {

struct Table {
    std::mutex mutex;
    std::vector<StatementStatistics> rows;
};

Table& table() {
    static auto* const instance = new Table;  // outlives every thread
    return *instance;
}

void lockTable() {
    table().mutex.lock();
}
void unlockTable() {
    table().mutex.unlock();
}
const bool g_forkHandlers = pthread_atfork(&lockTable, &unlockTable, &unlockTable) == 0;

// The row of session and kind; a session uses few kinds and a process few
// session names, so a short list beats a map (and takes no allocation).
StatementStatistics& rowOf(std::vector<StatementStatistics>& rows, StatementKind kind,
                           const char* session) {
    for (StatementStatistics& row : rows) {
        if (row.kind == kind && std::strcmp(row.session.c_str(), session) == 0) {
            return row;
        }
    }
    rows.emplace_back();
    rows.back().session = session;
    rows.back().kind = kind;
    return rows.back();
}

}  // namespace

void addStatistics(StatementKind kind, const char* session, std::chrono::nanoseconds duration,
                   std::uint64_t rows, ErrorCategory category) {
    (void)g_forkHandlers;
    std::lock_guard<std::mutex> lock(table().mutex);
    StatementStatistics& row = rowOf(table().rows, kind, session);
    ++row.calls;
    if (category != ErrorCategory::None) {
        ++row.errors;
        ++row.errorsByCategory[static_cast<std::size_t>(category)];
    }
    row.rows += rows;
    row.totalDuration += duration;
    row.maxDuration = std::max(row.maxDuration, duration);
}

}  // namespace vorn::diag

// The statistics calls of <vorn/diagnostics.h>.
namespace vorn {

std::vector<StatementStatistics> statistics() {
    std::vector<StatementStatistics> rows;
    {
        std::lock_guard<std::mutex> lock(diag::table().mutex);
        rows = diag::table().rows;
    }
    std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) {
        return std::tie(a.session, a.kind) < std::tie(b.session, b.kind);
    });
    return rows;
}

void resetStatistics() {
    std::lock_guard<std::mutex> lock(diag::table().mutex);
    diag::table().rows.clear();
}

}  // namespace vorn

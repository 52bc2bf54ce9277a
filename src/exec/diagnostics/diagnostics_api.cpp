#include "exec/diagnostics/call_record.h"
#include "exec/diagnostics/observer.h"
#include "exec/diagnostics/statistics_store.h"
#include "vorn/diagnostics.h"

namespace vorn {

ErrorInfo lastError() {
    return diag::lastErrorOfThread();
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
    }
    return "?";
}

void setStatementObserver(StatementObserver observer) {
    diag::setObserver(std::move(observer));
}

std::vector<StatementStatistics> statistics() {
    return diag::StatisticsStore::snapshot();
}

void resetStatistics() {
    diag::StatisticsStore::reset();
}

void setSlowStatementThreshold(std::chrono::milliseconds threshold) {
    diag::setSlowThreshold(threshold);
}

std::chrono::milliseconds slowStatementThreshold() {
    return diag::slowThreshold();
}

}  // namespace vorn

// vorn::Transaction and vorn::runTransaction (<vorn/transaction.h>).
#include "vorn/transaction.h"

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>
#include <utility>

#include "exec/dal/call_bound.h"
#include "exec/dal/error_class.h"
#include "exec/diagnostics/call_record.h"
#include "vorn/database.h"
#include "vorn/diagnostics.h"
#include "vorn/platform/error_codes.h"

namespace vorn {
namespace {

constexpr unsigned long kRefused = 1;

unsigned long begin(CVORN& db, Isolation isolation) {
    if (isolation == Isolation::Default) {
        return db.beginTransaction();
    }
    auto* ours = dynamic_cast<MIRAsqlDB*>(&db);
    return ours != nullptr ? ours->beginTransaction(isolation) : kRefused;
}

const char* sessionOf(CVORN& db) {
    const auto* ours = dynamic_cast<const MIRAsqlDB*>(&db);
    return ours != nullptr ? ours->sessionName() : "default";
}

// Where a run failed: what may be run again depends on it.
enum class Step { Begin, Unit, Commit };

// The failure that ended a run with code: the call's, as lastError() holds
// it, or else (the unit returned a code of its own) the code as the store of
// the session sorts it.
ErrorInfo failureOf(unsigned long code, const char* session) {
    ErrorInfo last = lastError();
    if (last.code == code) {
        return last;
    }
    ErrorInfo info;
    info.code = code;
    info.category = dal::classifySessionFailure(code, "", false, session).category;
    info.session = session;
    return info;
}

// Whether nothing of the unit can have been committed and running it again
// may succeed. A lost transaction at the begin is one the caller left open
// on this thread before the runner began: not the runner's to end.
bool retryable(const ErrorInfo& failure, Step step) {
    if (step == Step::Begin && failure.code == platform::errc::kTransactionRolledBack) {
        return false;
    }
    return failure.category == ErrorCategory::Busy ||
           failure.category == ErrorCategory::ConnectionLost;
}

// The jittered exponential back-off before run attempt + 1.
std::chrono::nanoseconds backoffAfter(int attempt, const RetryPolicy& policy) {
    using std::chrono::nanoseconds;
    const nanoseconds ceiling = policy.maxBackoff;
    nanoseconds wait = policy.firstBackoff;
    for (int n = 1; n < attempt && wait < ceiling; ++n) {
        wait *= 2;
    }
    wait = std::max(nanoseconds(0), std::min(wait, ceiling));
    thread_local std::minstd_rand random(std::random_device{}());
    std::uniform_int_distribution<nanoseconds::rep> half(wait.count() / 2, wait.count());
    return nanoseconds(half(random));
}

// Whether a wait of backoff and another run fit before the thread's deadline.
bool timeLeftFor(std::chrono::nanoseconds backoff) {
    const dal::CallClock::time_point deadline = dal::threadDeadline();
    return deadline == dal::CallClock::time_point::max() ||
           dal::CallClock::now() + backoff < deadline;
}

struct Run {
    unsigned long code = 0;
    Step step = Step::Begin;
    ErrorInfo failure;
};

// One run of the unit in a transaction of its own; a failed run is rolled
// back before it returns (by the transaction's destructor when unit throws).
Run runOnce(CVORN& db, const std::function<unsigned long(CVORN&)>& unit, Isolation isolation,
            const char* session) {
    Run run;
    Transaction transaction(db, isolation);
    run.code = transaction.begun();
    if (run.code == 0) {
        run.step = Step::Unit;
        run.code = unit(db);
        if (run.code == 0) {
            run.step = Step::Commit;
            run.code = transaction.commit();
        }
    }
    if (run.code != 0) {
        run.failure = failureOf(run.code, session);
        transaction.rollback();
    }
    return run;
}

}  // namespace

Transaction::Transaction(CVORN& db, Isolation isolation)
    : m_db(&db), m_begun(begin(db, isolation)), m_active(m_begun == 0) {}

Transaction::~Transaction() {
    if (active()) {
        try {
            m_db->rollbackTransaction();
        } catch (...) {  // NOLINT(bugprone-empty-catch): a destructor reports nothing
        }
    }
}

Transaction::Transaction(Transaction&& other) noexcept
    : m_db(std::exchange(other.m_db, nullptr)), m_begun(other.m_begun), m_active(other.m_active) {}

Transaction& Transaction::operator=(Transaction&& other) noexcept {
    if (this != &other) {
        Transaction old(std::move(*this));
        m_db = std::exchange(other.m_db, nullptr);
        m_begun = other.m_begun;
        m_active = other.m_active;
    }
    return *this;
}

unsigned long Transaction::commit() {
    if (!active()) {
        return kRefused;
    }
    const unsigned long code = m_db->commitTransaction();
    m_active = code != 0;
    return code;
}

unsigned long Transaction::rollback() {
    if (!active()) {
        return 0;
    }
    m_active = false;
    return m_db->rollbackTransaction();
}

unsigned long runTransaction(CVORN& db, const std::function<unsigned long(CVORN&)>& unit,
                             const RetryPolicy& policy, Isolation isolation) {
    const char* const session = sessionOf(db);
    for (int attempt = 1;; ++attempt) {
        const Run run = runOnce(db, unit, isolation, session);
        if (run.code == 0) {
            return 0;
        }
        // The rollback has replaced the failure as the thread's last error.
        diag::restoreLastError(run.failure);
        if (attempt >= policy.maxAttempts || !retryable(run.failure, run.step)) {
            return run.code;
        }
        const std::chrono::nanoseconds backoff = backoffAfter(attempt, policy);
        if (!timeLeftFor(backoff)) {
            return run.code;
        }
        std::this_thread::sleep_for(backoff);
        diag::recordRetry(session, run.failure, backoff);
    }
}

}  // namespace vorn

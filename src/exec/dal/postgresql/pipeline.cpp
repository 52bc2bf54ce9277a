#include "exec/dal/postgresql/pipeline.h"

#include "exec/dal/postgresql/bounded_wait.h"

namespace vorn::dal {
namespace {

// Results are read and the output buffer drained at least this often.
constexpr std::size_t kPumpEvery = 64;
// A command whose parameters are larger than this is pushed out at once.
constexpr long kLargeParameters = 64L * 1024;

}  // namespace

PgPipeline::PgPipeline(PGconn* conn) : m_conn(conn) {
    if (PQsetnonblocking(m_conn, 1) != 0 || PQenterPipelineMode(m_conn) != 1) {
        markBroken();
        return;
    }
    m_entered = true;
}

PgPipeline::~PgPipeline() {
    if (!m_synced && !m_broken) {
        finish();
    }
    if (m_entered && PQstatus(m_conn) == CONNECTION_OK) {
        PQexitPipelineMode(m_conn);
    }
    PQsetnonblocking(m_conn, 0);
}

std::size_t PgPipeline::queued() {
    m_keep.push_back(false);
    return m_keep.size() - 1;
}

std::size_t PgPipeline::query(const std::string& sql, int count, const Oid* types,
                              const char* const* values, const int* lengths, bool keep) {
    const std::size_t index = queued();
    m_keep[index] = keep;
    if (m_broken) {
        return index;
    }
    sent(PQsendQueryParams(m_conn, sql.c_str(), count, types, values, lengths, nullptr, 0));
    long bytes = 0;
    for (int i = 0; lengths != nullptr && i < count; ++i) {
        bytes += lengths[i];
    }
    if (bytes > kLargeParameters) {
        pump(true);
    }
    return index;
}

std::size_t PgPipeline::prepare(const char* name, const std::string& sql) {
    const std::size_t index = queued();
    if (!m_broken) {
        sent(PQsendPrepare(m_conn, name, sql.c_str(), 0, nullptr));
    }
    return index;
}

std::size_t PgPipeline::describePrepared(const char* name) {
    const std::size_t index = queued();
    m_keep[index] = true;
    if (!m_broken) {
        sent(PQsendDescribePrepared(m_conn, name));
    }
    return index;
}

std::size_t PgPipeline::queryPrepared(const char* name, int count, const char* const* values,
                                      const int* lengths) {
    const std::size_t index = queued();
    if (!m_broken) {
        sent(PQsendQueryPrepared(m_conn, name, count, values, lengths, nullptr, 0));
    }
    return index;
}

void PgPipeline::sent(int ok) {
    if (ok != 1) {
        markBroken();
        return;
    }
    if (m_keep.size() % kPumpEvery == 0) {
        pump(true);
    }
}

// Pushes queued output to the server, reading results as they come so the
// server never waits on a full socket. With waitForAll the whole buffer goes
// out before this returns.
void PgPipeline::pump(bool waitForAll) {
    while (!m_broken) {
        const int pending = PQflush(m_conn);
        if (pending < 0) {
            markBroken();
            return;
        }
        if (!readAvailable() || pending == 0 || !waitForAll) {
            return;
        }
        if (!waitSocket(true)) {
            return;
        }
    }
}

bool PgPipeline::finish() {
    if (!m_broken && PQpipelineSync(m_conn) != 1) {
        markBroken();
    }
    while (!m_broken && !m_synced) {
        const int pending = PQflush(m_conn);
        if (pending < 0) {
            markBroken();
            break;
        }
        if (!readAvailable() || m_synced) {
            break;
        }
        if (PQstatus(m_conn) == CONNECTION_BAD) {
            markBroken();
            break;
        }
        if (!waitSocket(pending == 1)) {
            break;
        }
    }
    return !m_failed && !m_broken;
}

// Reads what the socket holds and handles every complete result. False when
// the connection failed.
bool PgPipeline::readAvailable() {
    const bool consumed = PQconsumeInput(m_conn) == 1;
    // Even when reading failed, libpq may hold an error result to hand out.
    while (!m_synced && PQisBusy(m_conn) == 0) {
        PGresult* result = PQgetResult(m_conn);
        if (result == nullptr) {
            if (!m_currentHasResult) {
                break;  // nothing more yet
            }
            ++m_done;  // the end of one command's results
            m_currentHasResult = false;
            continue;
        }
        handle(result);
    }
    if (!consumed) {
        markBroken();
    }
    return consumed;
}

void PgPipeline::handle(PGresult* result) {
    switch (PQresultStatus(result)) {
        case PGRES_PIPELINE_SYNC:
            m_synced = true;
            PQclear(result);
            return;
        case PGRES_PIPELINE_ABORTED:  // skipped after an earlier failure
            m_currentHasResult = true;
            PQclear(result);
            return;
        case PGRES_COMMAND_OK:
        case PGRES_TUPLES_OK:
        case PGRES_EMPTY_QUERY:
            m_currentHasResult = true;
            if (m_done < m_keep.size() && m_keep[m_done]) {
                m_kept.emplace_back(m_done, PgResult(result));
            } else {
                PQclear(result);
            }
            return;
        case PGRES_COPY_IN:
        case PGRES_COPY_OUT:
        case PGRES_COPY_BOTH:
            // A data stream cannot be served here; the protocol state is
            // beyond repair, so the connection is given up.
            PQclear(result);
            markBroken();
            return;
        default:  // PGRES_FATAL_ERROR, PGRES_BAD_RESPONSE, ...
            m_currentHasResult = true;
            if (!m_failed) {
                m_failed = true;
                m_failure = PgResult(result);
            } else {
                PQclear(result);
            }
            return;
    }
}

// Within the call's bound: at its end the server is asked to cancel, and a
// server that does not answer that either leaves the pipeline given up.
bool PgPipeline::waitSocket(bool forWrite) {
    switch (pgAwaitSocket(m_conn, forWrite)) {
        case PgWait::Ready:
            return true;
        case PgWait::GiveUp:
            m_gaveUp = true;
            break;
        case PgWait::Failed:
            break;
    }
    markBroken();
    return false;
}

void PgPipeline::markBroken() {
    m_broken = true;
    m_failed = true;
}

PgResult PgPipeline::takeResult(std::size_t index) {
    for (auto& [kept, result] : m_kept) {
        if (kept == index) {
            return std::move(result);
        }
    }
    return PgResult();
}

}  // namespace vorn::dal

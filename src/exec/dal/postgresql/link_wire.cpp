// What occupies a link's wire between two calls: the answer of a command sent
// ahead, or a read streaming in single-row mode.
#include <utility>

#include "exec/dal/postgresql/bounded_wait.h"
#include "exec/dal/postgresql/errors.h"
#include "exec/dal/postgresql/link.h"
#include "exec/dal/postgresql/taken_rows.h"

namespace vorn::dal {

using platform::ExecResult;

ExecResult PgLink::settle() {
    if (m_broken) {
        return lostFailure();
    }
    drain();
    return {};
}

void PgLink::drain() {
    switch (m_occupant) {
        case Occupant::None:
            return;
        case Occupant::StreamedRead:
            takeRest();  // reads up to the end, which frees the wire
            return;
        case Occupant::DiscardedAnswer:
        case Occupant::KeptAnswer:
            readAnswer();
            return;
    }
}

bool PgLink::sendAhead(const std::string& sql, const std::string& tag) {
    drain();
    if (m_broken || (!tag.empty() && !m_ahead.tag.empty())) {
        return false;
    }
    if (PQsendQueryParams(m_conn, sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0) != 1) {
        m_broken = m_broken || PQstatus(m_conn) == CONNECTION_BAD;
        return false;
    }
    m_occupant = tag.empty() ? Occupant::DiscardedAnswer : Occupant::KeptAnswer;
    if (!tag.empty()) {
        m_ahead.tag = tag;
        m_ahead.callerTransaction = callerTransactionOpen();
    }
    return true;
}

void PgLink::readAnswer() {
    const bool keep = m_occupant == Occupant::KeptAnswer;
    m_occupant = Occupant::None;
    PgResult first;
    while (PGresult* result = awaitResult()) {
        if (keep && !first) {
            first = PgResult(result);
        } else {
            PQclear(result);
        }
    }
    const bool lost = PQstatus(m_conn) == CONNECTION_BAD;
    if (!keep) {
        m_broken = m_broken || lost;
        return;
    }
    const ExecStatusType answered = first.status();
    if ((answered == PGRES_TUPLES_OK || answered == PGRES_COMMAND_OK) && !lost) {
        m_ahead.result = std::move(first);
        m_ahead.status = ExecResult();
        return;
    }
    m_ahead.result = PgResult();
    m_ahead.status = failureOf(first.get(), lost, "", m_ahead.callerTransaction);
}

bool PgLink::takeAhead(const std::string& tag, PgResult& result, ExecResult& status) {
    drain();
    if (m_ahead.tag.empty() || m_ahead.tag != tag) {
        return false;
    }
    result = std::move(m_ahead.result);
    status = std::exchange(m_ahead.status, ExecResult());
    m_ahead.tag.clear();
    return true;
}

void PgLink::dropAhead(const std::string& tag) {
    drain();
    if (!m_ahead.tag.empty() && m_ahead.tag == tag) {
        m_ahead = Ahead();
    }
}

// The read goes out as a pipeline of its own (the query and a Sync): libpq
// keeps single-row mode on past the end of a query until it moves to the next
// command of a pipeline, and would otherwise apply it to the first command of
// the next unit.
ExecResult PgLink::sendStreamed(const std::string& sql, const PgParams& params, PgTakenRows* rest) {
    ExecResult status = readyToSend();
    if (!status.ok()) {
        return status;
    }
    m_incomingSql = sql;
    const bool sent = PQenterPipelineMode(m_conn) == 1 &&
                      PQsendQueryParams(m_conn, sql.c_str(), params.count, nullptr, params.values,
                                        params.lengths, nullptr, 0) == 1 &&
                      PQsetSingleRowMode(m_conn) == 1 && PQpipelineSync(m_conn) == 1;
    if (!sent) {
        // Whatever went out, the connection's state is no longer known.
        status = failureOf(nullptr, true, sql, false);
        m_broken = true;
        return status;
    }
    m_occupant = Occupant::StreamedRead;
    m_incoming = rest;
    return status;
}

bool PgLink::receive(PgResult& row, ExecResult& status) {
    PgResult result = nextIncoming();
    if (result.status() == PGRES_SINGLE_TUPLE) {
        row = std::move(result);
        return true;
    }
    finishIncoming(std::move(result), status);
    return false;
}

void PgLink::finishIncoming(PgResult last, ExecResult& status) {
    bool complete = false;
    while (last) {
        const ExecStatusType answer = last.status();
        if (answer == PGRES_TUPLES_OK || answer == PGRES_COMMAND_OK) {
            complete = true;
        } else if (status.ok()) {
            status =
                failureOf(last.get(), PQstatus(m_conn) == CONNECTION_BAD, m_incomingSql, false);
        }
        last = nextIncoming();
    }
    if (m_gaveUp) {
        status = gaveUpFailure(m_incomingSql, false);
    } else if (!complete && status.ok()) {
        // The connection ended without an answer of the server's.
        status = failureOf(nullptr, PQstatus(m_conn) == CONNECTION_BAD, m_incomingSql, false);
    }
}

void PgLink::takeRest() {
    PgTakenRows& rest = *m_incoming;
    PgResult row;
    ExecResult status;
    while (receive(row, status)) {
        if (!rest.append(std::move(row))) {
            status =
                pgFailure(pgstate::kOutOfMemory, "out of memory while keeping the rest of a read");
            while (nextIncoming()) {
            }
            break;
        }
    }
    rest.setEnd(std::move(status));
}

PgResult PgLink::nextIncoming() {
    if (m_occupant != Occupant::StreamedRead) {
        return PgResult();
    }
    PgResult result(awaitResult());
    if (!result) {
        endIncoming();
    }
    return result;
}

// After the query's last result: reads the Sync's answer and leaves pipeline
// mode, so that the connection is free.
void PgLink::endIncoming() {
    m_occupant = Occupant::None;
    m_incoming = nullptr;
    while (PGresult* result = awaitResult()) {
        const bool synced = PQresultStatus(result) == PGRES_PIPELINE_SYNC;
        PQclear(result);
        if (synced) {
            break;
        }
    }
    if (PQstatus(m_conn) != CONNECTION_OK || PQexitPipelineMode(m_conn) != 1) {
        m_broken = true;
    }
}

void PgLink::cancelIncoming() {
    if (m_occupant != Occupant::StreamedRead || m_broken) {
        return;
    }
    // A cancel that does not arrive only leaves more rows to read.
    pgRequestCancel(m_conn);
}

}  // namespace vorn::dal

#include "exec/dal/postgresql/stream.h"

#include <utility>

#include "exec/dal/postgresql/errors.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;

// Rows per block of a rest taken in.
constexpr int kBlockRows = 10000;
// A read given up with more rows or field bytes than these left is cancelled
// on the server; a shorter rest is cheaper to read than a cancel (a
// connection of its own).
constexpr int kDiscardRows = 10000;
constexpr long kDiscardBytes = 1024L * 1024;

}  // namespace

PgStream::~PgStream() {
    abandon();
}

ExecResult PgStream::open(const std::string& sql, const PgParams& params, PgResult& first) {
    m_sql = sql;
    ExecResult status = m_link->sendStreamed(sql, params, this);
    if (!status.ok()) {
        m_ended = true;
        return status;
    }
    receive(first, status);
    return status;
}

bool PgStream::next(PgResult& rows, ExecResult& status) {
    status = ExecResult();
    if (!m_taken.empty()) {
        rows = std::move(m_taken.front());
        m_taken.pop_front();
        return true;
    }
    if (m_ended) {
        status = std::exchange(m_end, ExecResult());
        return false;
    }
    return receive(rows, status);
}

bool PgStream::receive(PgResult& row, ExecResult& status) {
    PgResult result = m_link->nextIncoming();
    if (result.status() == PGRES_SINGLE_TUPLE) {
        row = std::move(result);
        return true;
    }
    finish(std::move(result), status);
    return false;
}

void PgStream::finish(PgResult last, ExecResult& status) {
    m_ended = true;
    bool complete = false;
    while (last) {
        const ExecStatusType answer = last.status();
        if (answer == PGRES_TUPLES_OK || answer == PGRES_COMMAND_OK) {
            complete = true;
        } else if (status.ok()) {
            status = m_link->streamFailure(last.get(), m_sql);
        }
        last = m_link->nextIncoming();
    }
    if (!complete && status.ok()) {
        // The connection ended without an answer of the server's.
        status = m_link->streamFailure(nullptr, m_sql);
    }
}

void PgStream::takeRest() {
    PgResult row;
    ExecResult status;
    while (receive(row, status)) {
        if (!append(std::move(row))) {
            status =
                pgFailure(pgstate::kOutOfMemory, "out of memory while keeping the rest of a read");
            while (m_link->nextIncoming()) {
            }
            break;
        }
    }
    m_end = std::move(status);
}

// Adds a row to the last block, or starts a new block with the row's columns.
bool PgStream::append(PgResult row) {
    const int fields = PQnfields(row.get());
    if (fields == 0) {  // a row without columns is only counted
        m_taken.push_back(std::move(row));
        return true;
    }
    if (m_taken.empty() || PQnfields(m_taken.back().get()) == 0 ||
        PQntuples(m_taken.back().get()) >= kBlockRows) {
        PgResult block(PQcopyResult(row.get(), PG_COPYRES_ATTRS));
        if (!block) {
            return false;
        }
        m_taken.push_back(std::move(block));
    }
    PGresult* block = m_taken.back().get();
    const int at = PQntuples(block);
    for (int i = 0; i < fields; ++i) {
        const bool null = PQgetisnull(row.get(), 0, i) != 0;
        if (PQsetvalue(block, at, i, null ? nullptr : PQgetvalue(row.get(), 0, i),
                       null ? -1 : PQgetlength(row.get(), 0, i)) == 0) {
            return false;
        }
    }
    return true;
}

void PgStream::abandon() {
    if (!m_link->incomingFrom(this)) {
        return;
    }
    long bytes = 0;
    for (int i = 0; i < kDiscardRows && bytes < kDiscardBytes; ++i) {
        const PgResult result = m_link->nextIncoming();
        if (!result) {
            return;
        }
        if (result.status() != PGRES_SINGLE_TUPLE) {
            // The end or a failure: the query is over, only the closing null
            // is left.
            while (m_link->nextIncoming()) {
            }
            return;
        }
        for (int field = 0; field < PQnfields(result.get()); ++field) {
            bytes += PQgetlength(result.get(), 0, field);
        }
    }
    m_link->cancelIncoming();
    while (m_link->nextIncoming()) {
    }
}

}  // namespace vorn::dal

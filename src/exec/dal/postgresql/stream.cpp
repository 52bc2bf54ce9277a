#include "exec/dal/postgresql/stream.h"

#include <utility>

namespace vorn::dal {
namespace {

using platform::ExecResult;

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
    ExecResult status = m_link.send(sql, params, &m_taken);
    if (status.ok()) {
        m_link.receive(first, status);
    }
    return status;
}

bool PgStream::next(PgResult& rows, ExecResult& status) {
    status = ExecResult();
    if (m_taken.pop(rows)) {
        return true;
    }
    if (!m_link.incomingFrom(&m_taken)) {
        // Nothing of the read is left on the wire.
        status = m_taken.takeEnd();
        return false;
    }
    return m_link.receive(rows, status);
}

void PgStream::abandon() {
    if (!m_link.incomingFrom(&m_taken)) {
        return;
    }
    long bytes = 0;
    for (int i = 0; i < kDiscardRows && bytes < kDiscardBytes; ++i) {
        const PgResult result = m_link.nextIncoming();
        if (!result) {
            return;
        }
        if (result.status() != PGRES_SINGLE_TUPLE) {
            // The end or a failure: the query is over, only the closing null
            // is left.
            while (m_link.nextIncoming()) {
            }
            return;
        }
        for (int field = 0; field < PQnfields(result.get()); ++field) {
            bytes += PQgetlength(result.get(), 0, field);
        }
    }
    m_link.cancelIncoming();
    while (m_link.nextIncoming()) {
    }
}

}  // namespace vorn::dal

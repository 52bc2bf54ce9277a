// Whether an idle connection is still open, asked before it is used again,
// and its socket, watched as it closes.
#include <poll.h>

#include "exec/dal/postgresql/link.h"

namespace vorn::dal {
namespace {

// The server ends a connection with an error message and then closes it,
// which may arrive in separate reads: a few looks find both.
constexpr int kLooks = 3;

}  // namespace

// Nothing is expected from the server while the wire is free: a readable
// socket means it sent a message of its own (a notice, or the error that
// ends the connection) or closed. libpq reads that in without blocking and
// tells whether the connection survived. A wire that is occupied (an answer
// or a read still to come) is left to its reader.
bool PgLink::stillOpen() {
    if (m_broken || m_occupant != Occupant::None) {
        return !m_broken;
    }
    for (int look = 0; look < kLooks; ++look) {
        pollfd entry{};
        entry.fd = PQsocket(m_conn);
        entry.events = POLLIN;
        if (entry.fd < 0 || PQstatus(m_conn) == CONNECTION_BAD) {
            m_broken = true;
            return false;
        }
        if (::poll(&entry, 1, 0) <= 0) {
            return true;  // nothing came (or poll cannot tell: the call will find out)
        }
        if (PQconsumeInput(m_conn) == 0 || PQstatus(m_conn) == CONNECTION_BAD) {
            m_broken = true;
            return false;
        }
    }
    return true;
}

int PgLink::socket() const noexcept {
    return m_broken ? -1 : PQsocket(m_conn);
}

}  // namespace vorn::dal

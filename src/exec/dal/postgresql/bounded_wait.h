#pragma once

#include <libpq-fe.h>

#include <chrono>

// The waits of a PostgreSQL call on its server, each within the call's bound
// (call_bound.h). Where a wait meets the end of the call, the statement
// running on the server is cancelled and its answer awaited for a short
// overtime; if it does not come, the connection is in an unknown state and
// is given up.
namespace vorn::dal {

// Opens a connection as PQconnectdbParams does (expand_dbname set), waiting
// within the call's bound and until limit. Null with expired set when the
// bound or the limit ended the wait, null alone when libpq had no memory;
// otherwise a connection, whose status tells whether it opened.
PGconn* pgConnectWithin(const char* const* keywords, const char* const* values,
                        std::chrono::steady_clock::time_point limit, bool& expired);

enum class PgWait {
    Ready,   // libpq can go on without blocking
    GiveUp,  // the call is over and the server did not answer in its overtime
    Failed,  // the connection failed (libpq holds the error)
};

// Waits until the next result can be taken without blocking (PQisBusy false).
PgWait pgAwaitResult(PGconn* conn);
// Waits until the socket takes more output (forWrite) or holds input; for a
// connection in nonblocking mode.
PgWait pgAwaitSocket(PGconn* conn, bool forWrite);
// Sends what libpq holds for the server (nonblocking mode), reading input as
// it comes, until nothing is left.
PgWait pgFlushAll(PGconn* conn);
// Asks the server to cancel what runs on conn, waiting a little under a second
// for the request to be delivered (it goes on alone after that).
void pgRequestCancel(PGconn* conn);

}  // namespace vorn::dal

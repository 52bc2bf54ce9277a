#pragma once

#include <libpq-fe.h>

namespace vorn::dal {

class PgPipeline;

// The session mode the library's quoting assumes: standard_conforming_strings
// on (a backslash inside '...' is an ordinary character, so doubling single
// quotes is all a value needs) and client encoding UTF8. A server, database or
// role default may say otherwise, and a caller's raw SET may change either at
// any time; the server reports both through ParameterStatus, which libpq keeps,
// so checking them costs no round trip.
//
// Plain SETs restore the mode rather than startup options: connection poolers
// such as pgbouncer refuse the startup "options" parameter, but track these
// two parameters and apply them again whenever they hand the session another
// server connection.
bool pgSessionModeHolds(const PGconn* conn);

// Queues the SETs that bring conn back to the session mode (none when it
// holds). Within a transaction they are undone with it; the server reports
// that too, so the next check sees it.
void pgQueueSessionMode(const PGconn* conn, PgPipeline& pipeline);

}  // namespace vorn::dal

#include "exec/dal/postgresql/session_mode.h"

#include <cstring>

#include "exec/dal/postgresql/pipeline.h"
#include "exec/platform/ascii.h"

namespace vorn::dal {
namespace {

bool standardStrings(const PGconn* conn) {
    const char* value = PQparameterStatus(conn, "standard_conforming_strings");
    return value != nullptr && std::strcmp(value, "on") == 0;
}

// The server reports the encoding's canonical name, except that it keeps the
// old alias "UNICODE" as it was given.
bool utf8Client(const PGconn* conn) {
    const char* value = PQparameterStatus(conn, "client_encoding");
    return value != nullptr && (platform::equalsIgnoreCase(value, "UTF8") ||
                                platform::equalsIgnoreCase(value, "UNICODE"));
}

}  // namespace

bool pgSessionModeHolds(const PGconn* conn) {
    return standardStrings(conn) && utf8Client(conn);
}

void pgQueueSessionMode(const PGconn* conn, PgPipeline& pipeline) {
    if (!standardStrings(conn)) {
        pipeline.query("SET standard_conforming_strings = on");
    }
    if (!utf8Client(conn)) {
        pipeline.query("SET client_encoding = 'UTF8'");
    }
}

}  // namespace vorn::dal

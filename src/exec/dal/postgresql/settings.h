#pragma once

#include <string>
#include <vector>

namespace vorn::dal {

// The settings of a "postgresql://..." or "postgres://..." URL.
//
// The URL goes to libpq as it stands (user, password, host, port, database,
// and every libpq parameter in the query part: sslmode, connect_timeout,
// options=-c statement_timeout=5000, ...), except for the library's own
// options, which start with "vorn_" and are taken out first:
//   vorn_statement_rollback=on|off   inside a caller's transaction, a failing
//       statement undoes only itself, as on SQLite (on, the default), or
//       leaves the transaction failed until it is rolled back, PostgreSQL's
//       own rule (off; spares a savepoint per statement)
//   vorn_fetch_rows=<n>   most rows fetched per round trip by a read
//       (default 10000, 1 to 1000000)
//   vorn_pool_mode=session|transaction   what a pooler between the library
//       and the server keeps for it (session, the default, also without a
//       pooler: the server connection is this connection's alone), or only a
//       transaction at a time (pgbouncer's transaction pooling): then nothing
//       of the library's outlives a transaction on the server connection (see
//       PgReads)
// A URL with several hosts, or with target_session_attrs other than "any",
// gets its connect tried again until the connect timeout has passed (see
// pgConnect). Defaults for parameters the URL (or libpq's PG* environment
// variables) leave unset: connect_timeout=10 and TCP keepalives (idle 30 s, interval 10 s, 3
// probes, tcp_user_timeout 60 s), so a dead server or network shows as an
// error rather than a call that never returns; fallback_application_name=vorn.
struct PgSettings {
    std::string conninfo;  // the URL without the library's options
    bool statementRollback = true;
    int maxFetchRows = 10000;
    // vorn_pool_mode=transaction: each transaction (or statement outside one)
    // may run on another server connection.
    bool transactionPooling = false;
    // Several hosts, or target_session_attrs other than "any": a deployment
    // where the server that accepts the session can change (failover), so a
    // failed connect is tried again until connectTimeoutSeconds have passed.
    bool severalServers = false;
    // connect_timeout of the URL, else $PGCONNECT_TIMEOUT, else 10.
    int connectTimeoutSeconds = 10;

    // Parses url and checks it with libpq; false with a problem text (free of
    // secrets) when it is malformed.
    static bool parse(const std::string& url, PgSettings& out, std::string& problem);

    // Keyword and value lists for PQconnectdbParams (with expand_dbname set):
    // the defaults first, then "dbname" = conninfo, whose parameters override
    // them. Both lists end with a null entry.
    void connectParameters(std::vector<const char*>& keywords,
                           std::vector<const char*>& values) const;
};

}  // namespace vorn::dal

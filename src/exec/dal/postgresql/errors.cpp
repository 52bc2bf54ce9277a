#include "exec/dal/postgresql/errors.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include "exec/dal/postgresql/statement_kind.h"
#include "exec/platform/ascii.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

const char* field(const PGresult* result, int code) {
    return result != nullptr ? PQresultErrorField(result, code) : nullptr;
}

struct PgRule {
    const char* sqlstate;  // five characters: that state; two: its whole class
    ErrorCategory category;
};

using C = ErrorCategory;

// The first rule that applies wins: single states before classes, so that
// 42501 is a refused permission although class 42 is syntax.
constexpr PgRule kRules[] = {
    {"00000", C::None},
    {"57P01", C::ConnectionLost},
    {"57P02", C::ConnectionLost},
    {"57P03", C::ConnectionLost},
    {"57014", C::Timeout},
    {"25P03", C::Timeout},
    {"57P05", C::Timeout},
    {"40001", C::Busy},
    {"40P01", C::Busy},
    {"55P03", C::Busy},
    {"55006", C::Busy},
    {"53300", C::Busy},  // too many connections: the server or the role is full
    {"42501", C::Permission},
    {"25006", C::Permission},
    {"08007", C::InDoubt},
    {"08", C::ConnectionLost},
    {"23", C::Constraint},
    {"28", C::Permission},
    {"42", C::Syntax},
    {"22", C::InvalidValue},
};

bool applies(const PgRule& rule, const std::string& sqlstate) {
    return sqlstate.compare(0, std::strlen(rule.sqlstate), rule.sqlstate) == 0;
}

// Where a message rule applies: to a failed connect only, or also to a
// failure libpq reports without an SQLSTATE on an open connection.
enum class PgWhen : std::uint8_t { Connect, Any };

struct PgMessageRule {
    const char* holds;  // libpq's message, on one line, holds this
    const char* sqlstate;
    PgWhen when;
};

using W = PgWhen;

// libpq 15 gives no SQLSTATE for a failed connect: no result, and the
// verbose error text that would carry one needs the asynchronous connect,
// which would give up libpq's connect_timeout per host. So a failed connect
// is told by its text: the server's FATAL message, in the server's
// lc_messages, and libpq's own, in the client's language; the English ones
// are recognised, any other stays 08001. The first rule that applies wins.
//
// A session whose security cannot be had (a certificate that cannot be
// verified or names another host, the server without SSL under
// sslmode=require, channel binding) gets 28000, the state the server gives
// when pg_hba.conf refuses a connection for its encryption, and so category
// Permission: trying again does not help, the configuration must change.
constexpr PgMessageRule kMessageRules[] = {
    // libpq's own: the connection is gone, also in the middle of a session.
    {"server closed the connection unexpectedly", pgstate::kConnectionFailure, W::Any},
    {"no connection to the server", pgstate::kConnectionFailure, W::Any},
    {"could not send data to server", pgstate::kConnectionFailure, W::Any},
    {"could not receive data from server", pgstate::kConnectionFailure, W::Any},
    {"SSL SYSCALL error", pgstate::kConnectionFailure, W::Any},
    {"SSL connection has been closed unexpectedly", pgstate::kConnectionFailure, W::Any},
    {"unexpected eof", pgstate::kConnectionFailure, W::Any},
    // The server's refusals, with the SQLSTATE it sends them with.
    {"FATAL: password authentication failed", "28P01", W::Connect},
    {"FATAL: no pg_hba.conf entry", "28000", W::Connect},
    {"FATAL: pg_hba.conf rejects", "28000", W::Connect},
    {"authentication failed for user", "28000", W::Connect},
    {"FATAL: role \"", "28000", W::Connect},  // does not exist, may not log in
    {"FATAL: permission denied for database", "42501", W::Connect},
    {"FATAL: sorry, too many clients already", "53300", W::Connect},
    {"FATAL: too many connections for", "53300", W::Connect},  // role, database
    {"FATAL: remaining connection slots are reserved", "53300", W::Connect},
    {"no more connections allowed", "53300", W::Connect},    // pgbouncer's max_client_conn
    {"FATAL: the database system is", "57P03", W::Connect},  // starting up, shutting down, ...
    {"is not currently accepting connections", "55000", W::Connect},
    {"FATAL: database \"", "3D000", W::Connect},  // does not exist
    // libpq's own: no password, or the session's security cannot be had.
    // Each text holds a blank, so that no host name libpq names holds it.
    {"fe_sendauth: no password supplied", "28P01", W::Connect},
    {"server does not support SSL, but SSL was required", "28000", W::Connect},
    {"server certificate", "28000", W::Connect},  // does not match the host name, ...
    {"certificate file", "28000", W::Connect},    // root or client certificate: missing, unread
    {"certificate present", "28000", W::Connect},
    {"private key", "28000", W::Connect},
    {"channel binding", "28000", W::Connect},
    {"GSSAPI encryption required", "28000", W::Connect},
    {"SSL error:", "28000", W::Connect},
};

// The state of the first message rule for a failure of that kind whose text
// holds it, or null.
const char* messageState(std::string_view message, bool connecting) {
    for (const PgMessageRule& rule : kMessageRules) {
        if ((connecting || rule.when == W::Any) && message.find(rule.holds) != std::string::npos) {
            return rule.sqlstate;
        }
    }
    return nullptr;
}

ErrorRow rowOf(std::string when, const char* sqlstate) {
    return {std::move(when), pgClassify(platform::pgCodeFromSqlstate(sqlstate), "").category,
            sqlstate};
}

// The rows of the failures the backend gives an SQLSTATE itself.
void appendMessageRows(std::vector<ErrorRow>& rows) {
    rows.push_back(
        rowOf("a failed connect for which the server asked for a password and none "
              "was given (`PQconnectionNeedsPassword`)",
              "28P01"));
    for (const PgMessageRule& rule : kMessageRules) {
        rows.push_back(rowOf(std::string(rule.when == W::Any ? "a failed connect, or a failure "
                                                               "without an SQLSTATE, whose "
                                                             : "a failed connect whose ") +
                                 "message holds `" + rule.holds + "`",
                             rule.sqlstate));
    }
    rows.push_back(rowOf("any other failed connect", pgstate::kCannotConnect));
    rows.push_back(
        rowOf("any other failure without an SQLSTATE, on a connection libpq sees "
              "broken (`CONNECTION_BAD`)",
              pgstate::kConnectionFailure));
    rows.push_back(rowOf("any other failure without an SQLSTATE", pgstate::kInternalError));
}

}  // namespace

ErrorClass pgClassify(std::uint64_t code, std::string_view /*message*/) {
    std::string sqlstate = platform::sqlstateFromCode(code);
    if (sqlstate.empty()) {
        return {C::Other, pgstate::kInternalError, 0};
    }
    for (const PgRule& rule : kRules) {
        if (applies(rule, sqlstate)) {
            return {rule.category, rule.category == C::None ? std::string() : sqlstate, 0};
        }
    }
    return {C::Other, sqlstate, 0};
}

std::vector<ErrorRow> pgErrorRows() {
    std::vector<ErrorRow> rows;
    appendMessageRows(rows);
    for (const PgRule& rule : kRules) {
        const bool wholeClass = std::strlen(rule.sqlstate) == 2;
        rows.push_back({std::string(wholeClass ? "class `" : "`") + rule.sqlstate + "`",
                        rule.category, rule.category == C::None ? "" : "as sent"});
    }
    rows.push_back({"any other SQLSTATE", C::Other, "as sent"});
    rows.push_back({"a code without a readable SQLSTATE", C::Other, pgstate::kInternalError});
    return rows;
}

std::string pgOneLine(std::string_view message) {
    return platform::oneLine(message);
}

platform::ExecResult pgFailure(const char* sqlstate, std::string detail) {
    return platform::ExecResult::failure(platform::pgCodeFromSqlstate(sqlstate), std::move(detail));
}

platform::ExecResult pgResultFailure(const PGresult* result, PGconn* conn) {
    const char* sqlstate = field(result, PG_DIAG_SQLSTATE);
    const char* primary = field(result, PG_DIAG_MESSAGE_PRIMARY);
    std::string detail;
    if (primary != nullptr && *primary != '\0') {
        detail = pgOneLine(primary);
    } else {
        const char* message = result != nullptr ? PQresultErrorMessage(result) : "";
        if (message == nullptr || *message == '\0') {
            message = PQerrorMessage(conn);
        }
        detail = pgOneLine(message != nullptr ? message : "");
        if (detail.empty()) {
            detail = "unknown error";
        }
    }
    if (sqlstate == nullptr || *sqlstate == '\0') {
        sqlstate = messageState(detail, false);
    }
    if (sqlstate == nullptr) {
        sqlstate = PQstatus(conn) == CONNECTION_BAD ? pgstate::kConnectionFailure
                                                    : pgstate::kInternalError;
    }
    return pgFailure(sqlstate, std::move(detail));
}

const char* pgConnectState(std::string_view message, bool passwordNeeded) {
    if (passwordNeeded) {
        return pgstate::kInvalidPassword;
    }
    const char* sqlstate = messageState(message, true);
    return sqlstate != nullptr ? sqlstate : pgstate::kCannotConnect;
}

bool pgConnectionLost(const PGresult* result, PGconn* conn) {
    if (PQstatus(conn) == CONNECTION_BAD) {
        return true;
    }
    const char* sqlstate = field(result, PG_DIAG_SQLSTATE);
    if (sqlstate != nullptr && std::strncmp(sqlstate, "08", 2) == 0) {
        return true;
    }
    if (sqlstate == nullptr && result != nullptr) {
        // libpq's own failure, e.g. a write that met a closed socket before
        // libpq read the end of the connection.
        const char* message = PQresultErrorMessage(result);
        if (message != nullptr && messageState(pgOneLine(message), false) != nullptr) {
            return true;
        }
    }
    const char* severity = field(result, PG_DIAG_SEVERITY_NONLOCALIZED);
    return severity != nullptr &&
           (std::strcmp(severity, "FATAL") == 0 || std::strcmp(severity, "PANIC") == 0);
}

bool pgMultipleStatementsRefused(const PGresult* result, std::string_view sql) {
    const char* sqlstate = field(result, PG_DIAG_SQLSTATE);
    return sqlstate != nullptr && std::strcmp(sqlstate, pgstate::kSyntaxError) == 0 &&
           field(result, PG_DIAG_STATEMENT_POSITION) == nullptr &&
           hasSecondStatement(sql, kPostgresDialect);
}

}  // namespace vorn::dal

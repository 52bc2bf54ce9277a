#include "exec/dal/postgresql/errors.h"

#include <cstring>

#include "exec/dal/postgresql/statement_kind.h"
#include "exec/platform/ascii.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

const char* field(const PGresult* result, int code) {
    return result != nullptr ? PQresultErrorField(result, code) : nullptr;
}

}  // namespace

std::string pgOneLine(std::string_view message) {
    std::string out;
    out.reserve(message.size());
    bool pendingBlank = false;
    for (const char c : message) {
        if (platform::isBlank(c)) {
            pendingBlank = !out.empty();
            continue;
        }
        if (pendingBlank) {
            out.push_back(' ');
            pendingBlank = false;
        }
        out.push_back(c);
    }
    return out;
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
        sqlstate = PQstatus(conn) == CONNECTION_BAD ? pgstate::kConnectionFailure : "XX000";
    }
    return pgFailure(sqlstate, std::move(detail));
}

bool pgConnectionLost(const PGresult* result, PGconn* conn) {
    if (PQstatus(conn) == CONNECTION_BAD) {
        return true;
    }
    const char* sqlstate = field(result, PG_DIAG_SQLSTATE);
    if (sqlstate != nullptr && std::strncmp(sqlstate, "08", 2) == 0) {
        return true;
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

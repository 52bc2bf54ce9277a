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

struct PgRule {
    const char* sqlstate;  // five characters: that state; two: its whole class
    ErrorCategory category;
};

using C = ErrorCategory;

// The first rule that applies wins: single states before classes, so that
// 42501 is a refused permission although class 42 is syntax.
constexpr PgRule kRules[] = {
    {"00000", C::None},           {"57P01", C::ConnectionLost}, {"57P02", C::ConnectionLost},
    {"57P03", C::ConnectionLost}, {"57014", C::Timeout},        {"25P03", C::Timeout},
    {"57P05", C::Timeout},        {"40001", C::Busy},           {"40P01", C::Busy},
    {"55P03", C::Busy},           {"55006", C::Busy},           {"42501", C::Permission},
    {"25006", C::Permission},     {"08007", C::InDoubt},        {"08", C::ConnectionLost},
    {"23", C::Constraint},        {"28", C::Permission},        {"42", C::Syntax},
    {"22", C::InvalidValue},
};

bool applies(const PgRule& rule, const std::string& sqlstate) {
    return sqlstate.compare(0, std::strlen(rule.sqlstate), rule.sqlstate) == 0;
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
        sqlstate = PQstatus(conn) == CONNECTION_BAD ? pgstate::kConnectionFailure
                                                    : pgstate::kInternalError;
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

// SQLite's result codes sorted into categories; the table of choices is at the
// top of error_category.cpp.
#include <sqlite3.h>

#include "exec/diagnostics/error_category.h"

namespace vorn::diag {

namespace {

constexpr std::uint64_t kPrimaryMask = 0xFF;

enum class Match : std::uint8_t { Prefix, Contains };

struct MessageRule {
    const char* fragment;
    const char* sqlstate;
    Match match;
    ErrorCategory category;
};

// SQLITE_ERROR carries most statement faults; its message tells them apart.
// The first matching rule wins. Messages that start with their kind are
// matched by prefix first, so a table or column name quoted inside a message
// cannot pass for another kind; the rest name the object first.
constexpr MessageRule kErrorRules[] = {
    {"no such table", "42P01", Match::Prefix, ErrorCategory::Syntax},
    {"no such column", "42703", Match::Prefix, ErrorCategory::Syntax},
    {"no such function", "42883", Match::Prefix, ErrorCategory::Syntax},
    {"no such savepoint", "3B001", Match::Prefix, ErrorCategory::Other},
    {"no such ", "42704", Match::Prefix, ErrorCategory::Syntax},
    {"ambiguous column name", "42702", Match::Prefix, ErrorCategory::Syntax},
    {"wrong number of arguments", "42883", Match::Prefix, ErrorCategory::Syntax},
    {"unrecognized token", "42601", Match::Prefix, ErrorCategory::Syntax},
    {"incomplete input", "42601", Match::Prefix, ErrorCategory::Syntax},
    {"cannot commit - no transaction is active", "25P01", Match::Prefix, ErrorCategory::Other},
    {"cannot rollback - no transaction is active", "25P01", Match::Prefix, ErrorCategory::Other},
    {"cannot start a transaction within a transaction", "25001", Match::Prefix,
     ErrorCategory::Other},
    {"integer overflow", "22003", Match::Prefix, ErrorCategory::InvalidValue},
    {"syntax error", "42601", Match::Contains, ErrorCategory::Syntax},
    {"has no column named", "42703", Match::Contains, ErrorCategory::Syntax},
    {"already exists", "42P07", Match::Contains, ErrorCategory::Syntax},
    {"values were supplied", "42601", Match::Contains, ErrorCategory::Syntax},
    {" values for ", "42601", Match::Contains, ErrorCategory::Syntax},
};

bool matches(const MessageRule& rule, std::string_view message) {
    const std::string_view fragment(rule.fragment);
    if (rule.match == Match::Prefix) {
        return message.substr(0, fragment.size()) == fragment;
    }
    return message.find(fragment) != std::string_view::npos;
}

Classified fromMessage(std::string_view message) {
    for (const MessageRule& rule : kErrorRules) {
        if (matches(rule, message)) {
            return {rule.category, rule.sqlstate, 0};
        }
    }
    return {ErrorCategory::Other, "HY000", 0};
}

Classified fromConstraint(std::uint64_t code) {
    switch (code) {
        case SQLITE_CONSTRAINT_UNIQUE:
        case SQLITE_CONSTRAINT_PRIMARYKEY:
        case SQLITE_CONSTRAINT_ROWID:
            return {ErrorCategory::Constraint, "23505", 0};
        case SQLITE_CONSTRAINT_FOREIGNKEY:
            return {ErrorCategory::Constraint, "23503", 0};
        case SQLITE_CONSTRAINT_NOTNULL:
            return {ErrorCategory::Constraint, "23502", 0};
        case SQLITE_CONSTRAINT_CHECK:
            return {ErrorCategory::Constraint, "23514", 0};
        case SQLITE_CONSTRAINT_DATATYPE:
            return {ErrorCategory::InvalidValue, "22P02", 0};
        default:
            return {ErrorCategory::Constraint, "23000", 0};
    }
}

struct PrimaryRule {
    std::uint64_t primary;
    ErrorCategory category;
    const char* sqlstate;
};

// Result codes whose category and SQLSTATE follow from the primary code alone.
constexpr PrimaryRule kPrimaryRules[] = {
    {SQLITE_BUSY, ErrorCategory::Busy, "55P03"},
    {SQLITE_LOCKED, ErrorCategory::Busy, "55P03"},
    {SQLITE_READONLY, ErrorCategory::Permission, "25006"},
    {SQLITE_PERM, ErrorCategory::Permission, "42501"},
    {SQLITE_AUTH, ErrorCategory::Permission, "42501"},
    {SQLITE_CANTOPEN, ErrorCategory::ConnectionLost, "08001"},
    {SQLITE_INTERRUPT, ErrorCategory::Timeout, "57014"},
    {SQLITE_TOOBIG, ErrorCategory::InvalidValue, "22001"},
    {SQLITE_MISMATCH, ErrorCategory::InvalidValue, "22P02"},
    {SQLITE_RANGE, ErrorCategory::InvalidValue, "22023"},
    {SQLITE_FULL, ErrorCategory::Other, "53100"},
    {SQLITE_IOERR, ErrorCategory::Other, "58030"},
    {SQLITE_CORRUPT, ErrorCategory::Other, "XX001"},
    {SQLITE_NOTADB, ErrorCategory::Other, "XX001"},
    {SQLITE_NOMEM, ErrorCategory::Other, "53200"},
    {SQLITE_ABORT, ErrorCategory::Other, "40000"},
};

Classified fromPrimary(std::uint64_t code, std::string_view message) {
    const std::uint64_t primary = code & kPrimaryMask;
    if (code == SQLITE_BUSY_SNAPSHOT) {
        return {ErrorCategory::Busy, "40001", 0};
    }
    if (primary == SQLITE_ERROR) {
        return fromMessage(message);
    }
    if (primary == SQLITE_CONSTRAINT) {
        return fromConstraint(code);
    }
    for (const PrimaryRule& rule : kPrimaryRules) {
        if (rule.primary == primary) {
            return {rule.category, rule.sqlstate, 0};
        }
    }
    return {ErrorCategory::Other, "HY000", 0};
}

}  // namespace

Classified classifySqlite(std::uint64_t code, std::string_view message) {
    Classified result = fromPrimary(code, message);
    result.storeCode = code;
    return result;
}

}  // namespace vorn::diag

#include "exec/dal/sqlite/errors.h"

#include <sqlite3.h>

#include <string>

namespace vorn::dal {
namespace {

constexpr std::uint64_t kPrimaryMask = 0xFF;

enum class Applies : std::uint8_t {
    Code,             // to the extended code itself
    Primary,          // to every extended code of a primary code
    MessagePrefix,    // to a primary code with a message that starts with the text
    MessageContains,  // to a primary code with a message that holds the text
};

struct SqliteRule {
    Applies applies;
    std::uint64_t code;
    const char* text;  // SQLite's name of the code, or the message's text
    ErrorCategory category;
    const char* sqlstate;
};

using C = ErrorCategory;

// The first rule that applies wins. SQLITE_ERROR carries most statement
// faults and its message tells them apart: messages that start with their
// kind are matched by their start first, so a table or column name quoted in
// a message cannot pass for another kind; the rest name the object first.
constexpr SqliteRule kRules[] = {
    {Applies::Code, SQLITE_BUSY_SNAPSHOT, "SQLITE_BUSY_SNAPSHOT", C::Busy, "40001"},
    {Applies::MessagePrefix, SQLITE_ERROR, "no such table", C::Syntax, "42P01"},
    {Applies::MessagePrefix, SQLITE_ERROR, "no such column", C::Syntax, "42703"},
    {Applies::MessagePrefix, SQLITE_ERROR, "no such function", C::Syntax, "42883"},
    {Applies::MessagePrefix, SQLITE_ERROR, "no such savepoint", C::Other, "3B001"},
    {Applies::MessagePrefix, SQLITE_ERROR, "no such ", C::Syntax, "42704"},
    {Applies::MessagePrefix, SQLITE_ERROR, "ambiguous column name", C::Syntax, "42702"},
    {Applies::MessagePrefix, SQLITE_ERROR, "wrong number of arguments", C::Syntax, "42883"},
    {Applies::MessagePrefix, SQLITE_ERROR, "unrecognized token", C::Syntax, "42601"},
    {Applies::MessagePrefix, SQLITE_ERROR, "incomplete input", C::Syntax, "42601"},
    // PostgreSQL only warns of these; its SQLSTATE for them all the same.
    {Applies::MessagePrefix, SQLITE_ERROR, "cannot commit - no transaction is active", C::Other,
     "25P01"},
    {Applies::MessagePrefix, SQLITE_ERROR, "cannot rollback - no transaction is active", C::Other,
     "25P01"},
    {Applies::MessagePrefix, SQLITE_ERROR, "cannot start a transaction within a transaction",
     C::Other, "25001"},
    {Applies::MessagePrefix, SQLITE_ERROR, "integer overflow", C::InvalidValue, "22003"},
    {Applies::MessageContains, SQLITE_ERROR, "syntax error", C::Syntax, "42601"},
    {Applies::MessageContains, SQLITE_ERROR, "has no column named", C::Syntax, "42703"},
    {Applies::MessageContains, SQLITE_ERROR, "already exists", C::Syntax, "42P07"},
    // The number of values differs from the number of columns.
    {Applies::MessageContains, SQLITE_ERROR, "values were supplied", C::Syntax, "42601"},
    {Applies::MessageContains, SQLITE_ERROR, " values for ", C::Syntax, "42601"},
    // The CLI's general error, as ODBC reports it.
    {Applies::Primary, SQLITE_ERROR, "SQLITE_ERROR", C::Other, "HY000"},
    {Applies::Code, SQLITE_CONSTRAINT_UNIQUE, "SQLITE_CONSTRAINT_UNIQUE", C::Constraint, "23505"},
    {Applies::Code, SQLITE_CONSTRAINT_PRIMARYKEY, "SQLITE_CONSTRAINT_PRIMARYKEY", C::Constraint,
     "23505"},
    {Applies::Code, SQLITE_CONSTRAINT_ROWID, "SQLITE_CONSTRAINT_ROWID", C::Constraint, "23505"},
    {Applies::Code, SQLITE_CONSTRAINT_FOREIGNKEY, "SQLITE_CONSTRAINT_FOREIGNKEY", C::Constraint,
     "23503"},
    {Applies::Code, SQLITE_CONSTRAINT_NOTNULL, "SQLITE_CONSTRAINT_NOTNULL", C::Constraint, "23502"},
    {Applies::Code, SQLITE_CONSTRAINT_CHECK, "SQLITE_CONSTRAINT_CHECK", C::Constraint, "23514"},
    // A STRICT table refusing a value: PostgreSQL's text that is no valid value of the type.
    {Applies::Code, SQLITE_CONSTRAINT_DATATYPE, "SQLITE_CONSTRAINT_DATATYPE", C::InvalidValue,
     "22P02"},
    {Applies::Primary, SQLITE_CONSTRAINT, "SQLITE_CONSTRAINT", C::Constraint, "23000"},
    // lock_not_available: what PostgreSQL reports when a lock cannot be had.
    {Applies::Primary, SQLITE_BUSY, "SQLITE_BUSY", C::Busy, "55P03"},
    {Applies::Primary, SQLITE_LOCKED, "SQLITE_LOCKED", C::Busy, "55P03"},
    {Applies::Primary, SQLITE_READONLY, "SQLITE_READONLY", C::Permission, "25006"},
    {Applies::Primary, SQLITE_PERM, "SQLITE_PERM", C::Permission, "42501"},
    {Applies::Primary, SQLITE_AUTH, "SQLITE_AUTH", C::Permission, "42501"},
    {Applies::Primary, SQLITE_CANTOPEN, "SQLITE_CANTOPEN", C::ConnectionLost, "08001"},
    {Applies::Primary, SQLITE_INTERRUPT, "SQLITE_INTERRUPT", C::Timeout, "57014"},
    {Applies::Primary, SQLITE_TOOBIG, "SQLITE_TOOBIG", C::InvalidValue, "22001"},
    // As PostgreSQL for a value of the wrong type.
    {Applies::Primary, SQLITE_MISMATCH, "SQLITE_MISMATCH", C::InvalidValue, "22P02"},
    // A parameter index out of range.
    {Applies::Primary, SQLITE_RANGE, "SQLITE_RANGE", C::InvalidValue, "22023"},
    {Applies::Primary, SQLITE_FULL, "SQLITE_FULL", C::Other, "53100"},
    {Applies::Primary, SQLITE_IOERR, "SQLITE_IOERR", C::Other, "58030"},
    {Applies::Primary, SQLITE_CORRUPT, "SQLITE_CORRUPT", C::Other, "XX001"},
    {Applies::Primary, SQLITE_NOTADB, "SQLITE_NOTADB", C::Other, "XX001"},
    {Applies::Primary, SQLITE_NOMEM, "SQLITE_NOMEM", C::Other, "53200"},
    {Applies::Primary, SQLITE_ABORT, "SQLITE_ABORT", C::Other, "40000"},
};

const SqliteRule kAnyOther{Applies::Code, 0, "any other code", C::Other, "HY000"};

bool applies(const SqliteRule& rule, std::uint64_t code, std::string_view message) {
    const std::string_view text(rule.text);
    switch (rule.applies) {
        case Applies::Code:
            return code == rule.code;
        case Applies::Primary:
            return (code & kPrimaryMask) == rule.code;
        case Applies::MessagePrefix:
            return (code & kPrimaryMask) == rule.code && message.substr(0, text.size()) == text;
        case Applies::MessageContains:
            return (code & kPrimaryMask) == rule.code &&
                   message.find(text) != std::string_view::npos;
    }
    return false;
}

std::string whenOf(const SqliteRule& rule) {
    const std::string code = std::to_string(rule.code);
    switch (rule.applies) {
        case Applies::Code:
            return code + " `" + rule.text + "`";
        case Applies::Primary:
            return code + " `" + rule.text + "` and its extended codes";
        case Applies::MessagePrefix:
            return code + " with a message that starts with \"" + rule.text + "\"";
        case Applies::MessageContains:
            return code + " with a message that holds \"" + rule.text + "\"";
    }
    return code;
}

}  // namespace

ErrorClass sqliteClassify(std::uint64_t code, std::string_view message) {
    for (const SqliteRule& rule : kRules) {
        if (applies(rule, code, message)) {
            return {rule.category, rule.sqlstate, code};
        }
    }
    return {kAnyOther.category, kAnyOther.sqlstate, code};
}

std::vector<ErrorRow> sqliteErrorRows() {
    std::vector<ErrorRow> rows;
    for (const SqliteRule& rule : kRules) {
        rows.push_back({whenOf(rule), rule.category, rule.sqlstate});
    }
    rows.push_back({kAnyOther.text, kAnyOther.category, kAnyOther.sqlstate});
    return rows;
}

}  // namespace vorn::dal

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
    ErrorCategory category;
    std::uint64_t code;
    const char* text;  // SQLite's name of the code, or the message's text
    const char* sqlstate;
};

using C = ErrorCategory;

// The first rule that applies wins. SQLITE_ERROR carries most statement
// faults and its message tells them apart: messages that start with their
// kind are matched by their start first, so a table or column name quoted in
// a message cannot pass for another kind; the rest name the object first.
constexpr SqliteRule kRules[] = {
    {Applies::Code, C::Busy, SQLITE_BUSY_SNAPSHOT, "SQLITE_BUSY_SNAPSHOT", "40001"},
    {Applies::MessagePrefix, C::Syntax, SQLITE_ERROR, "no such table", "42P01"},
    {Applies::MessagePrefix, C::Syntax, SQLITE_ERROR, "no such column", "42703"},
    {Applies::MessagePrefix, C::Syntax, SQLITE_ERROR, "no such function", "42883"},
    {Applies::MessagePrefix, C::Other, SQLITE_ERROR, "no such savepoint", "3B001"},
    {Applies::MessagePrefix, C::Syntax, SQLITE_ERROR, "no such ", "42704"},
    {Applies::MessagePrefix, C::Syntax, SQLITE_ERROR, "ambiguous column name", "42702"},
    {Applies::MessagePrefix, C::Syntax, SQLITE_ERROR, "wrong number of arguments", "42883"},
    {Applies::MessagePrefix, C::Syntax, SQLITE_ERROR, "unrecognized token", "42601"},
    {Applies::MessagePrefix, C::Syntax, SQLITE_ERROR, "incomplete input", "42601"},
    // PostgreSQL only warns of these; its SQLSTATE for them all the same.
    {Applies::MessagePrefix, C::Other, SQLITE_ERROR, "cannot commit - no transaction is active",
     "25P01"},
    {Applies::MessagePrefix, C::Other, SQLITE_ERROR, "cannot rollback - no transaction is active",
     "25P01"},
    {Applies::MessagePrefix, C::Other, SQLITE_ERROR,
     "cannot start a transaction within a transaction", "25001"},
    {Applies::MessagePrefix, C::InvalidValue, SQLITE_ERROR, "integer overflow", "22003"},
    {Applies::MessageContains, C::Syntax, SQLITE_ERROR, "syntax error", "42601"},
    {Applies::MessageContains, C::Syntax, SQLITE_ERROR, "has no column named", "42703"},
    {Applies::MessageContains, C::Syntax, SQLITE_ERROR, "already exists", "42P07"},
    // The number of values differs from the number of columns.
    {Applies::MessageContains, C::Syntax, SQLITE_ERROR, "values were supplied", "42601"},
    {Applies::MessageContains, C::Syntax, SQLITE_ERROR, " values for ", "42601"},
    // The CLI's general error, as ODBC reports it.
    {Applies::Primary, C::Other, SQLITE_ERROR, "SQLITE_ERROR", "HY000"},
    {Applies::Code, C::Constraint, SQLITE_CONSTRAINT_UNIQUE, "SQLITE_CONSTRAINT_UNIQUE", "23505"},
    {Applies::Code, C::Constraint, SQLITE_CONSTRAINT_PRIMARYKEY, "SQLITE_CONSTRAINT_PRIMARYKEY",
     "23505"},
    {Applies::Code, C::Constraint, SQLITE_CONSTRAINT_ROWID, "SQLITE_CONSTRAINT_ROWID", "23505"},
    {Applies::Code, C::Constraint, SQLITE_CONSTRAINT_FOREIGNKEY, "SQLITE_CONSTRAINT_FOREIGNKEY",
     "23503"},
    {Applies::Code, C::Constraint, SQLITE_CONSTRAINT_NOTNULL, "SQLITE_CONSTRAINT_NOTNULL", "23502"},
    {Applies::Code, C::Constraint, SQLITE_CONSTRAINT_CHECK, "SQLITE_CONSTRAINT_CHECK", "23514"},
    // A STRICT table refusing a value: PostgreSQL's text that is no valid value of the type.
    {Applies::Code, C::InvalidValue, SQLITE_CONSTRAINT_DATATYPE, "SQLITE_CONSTRAINT_DATATYPE",
     "22P02"},
    {Applies::Primary, C::Constraint, SQLITE_CONSTRAINT, "SQLITE_CONSTRAINT", "23000"},
    // lock_not_available: what PostgreSQL reports when a lock cannot be had.
    {Applies::Primary, C::Busy, SQLITE_BUSY, "SQLITE_BUSY", "55P03"},
    {Applies::Primary, C::Busy, SQLITE_LOCKED, "SQLITE_LOCKED", "55P03"},
    // The database file was deleted or replaced under the connection (a
    // commit refused for it, too): no permission is missing. PostgreSQL's
    // SQLSTATE for a file that is not there.
    {Applies::Code, C::Other, SQLITE_READONLY_DBMOVED, "SQLITE_READONLY_DBMOVED", "58P01"},
    {Applies::Primary, C::Permission, SQLITE_READONLY, "SQLITE_READONLY", "25006"},
    {Applies::Primary, C::Permission, SQLITE_PERM, "SQLITE_PERM", "42501"},
    {Applies::Primary, C::Permission, SQLITE_AUTH, "SQLITE_AUTH", "42501"},
    {Applies::Primary, C::ConnectionLost, SQLITE_CANTOPEN, "SQLITE_CANTOPEN", "08001"},
    {Applies::Primary, C::Timeout, SQLITE_INTERRUPT, "SQLITE_INTERRUPT", "57014"},
    {Applies::Primary, C::InvalidValue, SQLITE_TOOBIG, "SQLITE_TOOBIG", "22001"},
    // As PostgreSQL for a value of the wrong type.
    {Applies::Primary, C::InvalidValue, SQLITE_MISMATCH, "SQLITE_MISMATCH", "22P02"},
    // A parameter index out of range.
    {Applies::Primary, C::InvalidValue, SQLITE_RANGE, "SQLITE_RANGE", "22023"},
    {Applies::Primary, C::Other, SQLITE_FULL, "SQLITE_FULL", "53100"},
    {Applies::Primary, C::Other, SQLITE_IOERR, "SQLITE_IOERR", "58030"},
    {Applies::Primary, C::Other, SQLITE_CORRUPT, "SQLITE_CORRUPT", "XX001"},
    {Applies::Primary, C::Other, SQLITE_NOTADB, "SQLITE_NOTADB", "XX001"},
    {Applies::Primary, C::Other, SQLITE_NOMEM, "SQLITE_NOMEM", "53200"},
    {Applies::Primary, C::Other, SQLITE_ABORT, "SQLITE_ABORT", "40000"},
};

const SqliteRule kAnyOther{Applies::Code, C::Other, 0, "any other code", "HY000"};

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
    std::string code = std::to_string(rule.code);
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

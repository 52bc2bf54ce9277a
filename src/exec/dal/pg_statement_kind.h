#pragma once

#include <string_view>

namespace vorn::dal {

// What the PostgreSQL backend needs to know about a statement before it runs
// it. The text is scanned, not parsed: the server stays the judge of syntax.
enum class PgStatementKind {
    // SELECT, VALUES, TABLE or WITH that a cursor can stream: no data-changing
    // part, no SELECT ... INTO, no row locks (FOR UPDATE / SHARE).
    CursorQuery,
    // BEGIN, COMMIT, ROLLBACK, SAVEPOINT, ... given as a plain statement.
    TransactionControl,
    // COPY ... FROM STDIN / TO STDOUT, which needs a data stream this
    // interface does not offer.
    CopyStream,
    // Anything else.
    Other,
};

PgStatementKind classifyPgStatement(std::string_view sql);

// True when text holds a further statement after a top-level ';' (blanks,
// comments and more semicolons do not count).
bool hasSecondPgStatement(std::string_view sql);

}  // namespace vorn::dal

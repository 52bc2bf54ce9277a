#pragma once

#include <string_view>

#include "exec/dal/sql_lexer.h"

namespace vorn::dal {

// PostgreSQL's quoting: E'...' with backslash escapes, $$...$$ and
// $tag$...$tag$, and nested comments.
constexpr SqlDialect postgresDialect() {
    SqlDialect dialect;
    dialect.escapeStrings = true;
    dialect.dollarQuotes = true;
    dialect.nestedComments = true;
    return dialect;
}
inline constexpr SqlDialect kPostgresDialect = postgresDialect();

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

}  // namespace vorn::dal

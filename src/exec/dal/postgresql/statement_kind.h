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
    // BEGIN, COMMIT, ROLLBACK, SAVEPOINT, ..., SET TRANSACTION and SET LOCAL
    // given as a plain statement: run as they are, never in a savepoint.
    TransactionControl,
    // COPY ... FROM STDIN / TO STDOUT, which needs a data stream this
    // interface does not offer.
    CopyStream,
    // Anything else.
    Other,
};

PgStatementKind classifyPgStatement(std::string_view sql);

// Whether sql may have taken effect when the connection is cut after it was
// sent and before its answer came: a COMMIT, or outside the caller's
// transaction anything that may change data. Inside it, the server rolls the
// transaction back when the connection goes, so only a COMMIT is in doubt.
bool pgInDoubtWhenCut(std::string_view sql, bool callerTransaction);

}  // namespace vorn::dal

#include "exec/dal/postgresql/statement_kind.h"

namespace vorn::dal {
namespace {

using Kind = SqlLexer::Kind;

bool isTransactionControlWord(const SqlLexer::Token& token, std::string_view sql) {
    for (const char* word :
         {"begin", "start", "commit", "end", "rollback", "abort", "savepoint", "release"}) {
        if (token.is(sql, word)) {
            return true;
        }
    }
    return false;
}

// Looks at the words after the leading keyword of a query.
PgStatementKind classifyQuery(SqlLexer& scanner, bool isWith) {
    const std::string_view sql = scanner.text();
    bool afterFor = false;
    for (SqlLexer::Token token = scanner.next(); token.kind != Kind::End; token = scanner.next()) {
        if (afterFor && (token.is(sql, "update") || token.is(sql, "share") || token.is(sql, "no") ||
                         token.is(sql, "key"))) {
            return PgStatementKind::Other;  // row locks
        }
        afterFor = token.is(sql, "for");
        if (token.is(sql, "into")) {
            return PgStatementKind::Other;  // SELECT ... INTO creates a table
        }
        if (isWith && (token.is(sql, "insert") || token.is(sql, "update") ||
                       token.is(sql, "delete") || token.is(sql, "merge"))) {
            return PgStatementKind::Other;  // data-changing WITH
        }
    }
    return PgStatementKind::CursorQuery;
}

}  // namespace

PgStatementKind classifyPgStatement(std::string_view sql) {
    SqlLexer scanner(sql, kPostgresDialect);
    SqlLexer::Token first = scanner.next();
    while (first.isSymbol(sql, '(')) {
        first = scanner.next();
    }
    if (first.is(sql, "select") || first.is(sql, "values") || first.is(sql, "table")) {
        return classifyQuery(scanner, false);
    }
    if (first.is(sql, "with")) {
        return classifyQuery(scanner, true);
    }
    if (isTransactionControlWord(first, sql)) {
        return PgStatementKind::TransactionControl;
    }
    if (first.is(sql, "set")) {
        // SET TRANSACTION must come first in its transaction and never in a
        // savepoint; SET LOCAL lasts until the transaction ends.
        const SqlLexer::Token second = scanner.next();
        return second.is(sql, "transaction") || second.is(sql, "local")
                   ? PgStatementKind::TransactionControl
                   : PgStatementKind::Other;
    }
    if (first.is(sql, "prepare") || first.is(sql, "copy")) {
        const bool isCopy = first.is(sql, "copy");
        for (SqlLexer::Token token = scanner.next(); token.kind != Kind::End;
             token = scanner.next()) {
            if (!isCopy && token.is(sql, "transaction")) {
                return PgStatementKind::TransactionControl;
            }
            if (isCopy && (token.is(sql, "stdin") || token.is(sql, "stdout"))) {
                return PgStatementKind::CopyStream;
            }
            if (!isCopy) {
                break;  // PREPARE name ...: only the word after PREPARE tells
            }
        }
    }
    return PgStatementKind::Other;
}

bool pgInDoubtWhenCut(std::string_view sql, bool callerTransaction) {
    SqlLexer scanner(sql, kPostgresDialect);
    const SqlLexer::Token first = scanner.next();
    if (first.kind == Kind::End) {
        return false;
    }
    const bool commits = first.is(sql, "commit") || first.is(sql, "end") ||
                         (first.is(sql, "prepare") &&
                          classifyPgStatement(sql) == PgStatementKind::TransactionControl);
    if (commits || callerTransaction) {
        return commits;
    }
    if (classifyPgStatement(sql) == PgStatementKind::CursorQuery) {
        return false;
    }
    for (const char* word : {"begin", "start", "rollback", "abort", "savepoint", "release", "fetch",
                             "move", "show", "set", "reset", "declare", "close", "deallocate"}) {
        if (first.is(sql, word)) {
            return false;
        }
    }
    return true;
}

}  // namespace vorn::dal

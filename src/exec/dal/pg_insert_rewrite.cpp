#include "exec/dal/pg_insert_rewrite.h"

#include <charconv>
#include <vector>

#include "exec/dal/pg_sql_scanner.h"

namespace vorn::dal {
namespace {

using Kind = PgSqlScanner::Kind;
using Token = PgSqlScanner::Token;

constexpr std::string_view kAlias = "vorn_batch_rows";

// The number of a $n token, or 0 when it is out of range.
std::size_t parameterNumber(std::string_view sql, const Token& token, std::size_t parameters) {
    std::size_t number = 0;
    const char* first = sql.data() + token.begin + 1;
    const char* last = sql.data() + token.end;
    const auto [end, ec] = std::from_chars(first, last, number);
    if (ec != std::errc() || end != last || number == 0 || number > parameters) {
        return 0;
    }
    return number;
}

}  // namespace

bool PgInsertRewrite::toUnnest(std::string_view sql, std::size_t parameters, std::string& out) {
    if (parameters == 0) {
        return false;
    }
    PgSqlScanner scanner(sql);
    if (!scanner.next().is(sql, "insert") || !scanner.next().is(sql, "into")) {
        return false;
    }
    // The target and column list, up to VALUES at the top level.
    int depth = 0;
    Token token = scanner.next();
    for (;; token = scanner.next()) {
        if (token.kind == Kind::End || token.kind == Kind::Param) {
            return false;
        }
        if (token.isSymbol(sql, '(')) {
            ++depth;
        } else if (token.isSymbol(sql, ')')) {
            --depth;
        } else if (depth == 0 && (token.is(sql, "select") || token.is(sql, "default"))) {
            return false;
        } else if (depth == 0 && token.is(sql, "values")) {
            break;
        }
    }
    const std::size_t valuesBegin = token.begin;
    if (!scanner.next().isSymbol(sql, '(')) {
        return false;
    }
    const std::size_t rowBegin = scanner.position();
    // The row, remembering where its parameters are.
    std::vector<Token> params;
    std::vector<bool> used(parameters + 1, false);
    depth = 1;
    for (;;) {
        token = scanner.next();
        if (token.kind == Kind::End || token.is(sql, "default")) {
            return false;
        }
        if (token.isSymbol(sql, '(')) {
            ++depth;
        } else if (token.isSymbol(sql, ')')) {
            if (--depth == 0) {
                break;
            }
        } else if (token.kind == Kind::Param) {
            const std::size_t number = parameterNumber(sql, token, parameters);
            if (number == 0) {
                return false;
            }
            used[number] = true;
            params.push_back(token);
        }
    }
    const std::size_t rowEnd = token.begin;  // the closing parenthesis
    const std::size_t tailBegin = token.end;
    // After the row: no second row, and no parameter.
    token = scanner.next();
    if (token.isSymbol(sql, ',')) {
        return false;
    }
    for (; token.kind != Kind::End; token = scanner.next()) {
        if (token.kind == Kind::Param) {
            return false;
        }
    }
    for (std::size_t n = 1; n <= parameters; ++n) {
        if (!used[n]) {
            return false;
        }
    }

    std::string text(sql.substr(0, valuesBegin));
    text.append("SELECT ");
    std::size_t copied = rowBegin;
    for (const Token& param : params) {
        text.append(sql.substr(copied, param.begin - copied));
        text.append(kAlias);
        text.append(".p");
        text.append(sql.substr(param.begin + 1, param.end - param.begin - 1));
        copied = param.end;
    }
    text.append(sql.substr(copied, rowEnd - copied));
    text.append(" FROM unnest(");
    for (std::size_t n = 1; n <= parameters; ++n) {
        text.append(n == 1 ? "$" : ", $");
        text.append(std::to_string(n));
    }
    text.append(") AS ");
    text.append(kAlias);
    text.push_back('(');
    for (std::size_t n = 1; n <= parameters; ++n) {
        text.append(n == 1 ? "p" : ", p");
        text.append(std::to_string(n));
    }
    text.push_back(')');
    text.append(sql.substr(tailBegin));
    out = std::move(text);
    return true;
}

bool PgInsertRewrite::toCopy(std::string_view sql, std::size_t parameters, std::string& relation,
                             std::string& columns, std::vector<std::size_t>& order) {
    PgSqlScanner scanner(sql);
    if (parameters == 0 || !scanner.next().is(sql, "insert") || !scanner.next().is(sql, "into")) {
        return false;
    }
    // The relation: names and dots only (no alias, no OVERRIDING clause).
    Token token = scanner.next();
    const std::size_t relationBegin = token.begin;
    std::size_t relationEnd = relationBegin;
    for (; token.kind == Kind::Word || token.kind == Kind::Quoted || token.isSymbol(sql, '.');
         token = scanner.next()) {
        if (token.is(sql, "as") || token.is(sql, "values") || token.is(sql, "default") ||
            token.is(sql, "select") || token.is(sql, "overriding")) {
            return false;
        }
        relationEnd = token.end;
    }
    if (relationEnd == relationBegin || !token.isSymbol(sql, '(')) {
        return false;
    }
    // The column list: names separated by commas.
    const std::size_t columnsBegin = scanner.position();
    std::size_t count = 0;
    bool expectName = true;
    for (token = scanner.next(); !token.isSymbol(sql, ')'); token = scanner.next()) {
        const bool isName = token.kind == Kind::Word || token.kind == Kind::Quoted;
        if (expectName ? !isName : !token.isSymbol(sql, ',')) {
            return false;
        }
        count += isName ? 1 : 0;
        expectName = !expectName;
    }
    const std::size_t columnsEnd = token.begin;
    if (expectName || count != parameters || !scanner.next().is(sql, "values") ||
        !scanner.next().isSymbol(sql, '(')) {
        return false;
    }
    // The row: one parameter per column.
    std::vector<std::size_t> taken;
    std::vector<bool> used(parameters, false);
    for (std::size_t i = 0; i < count; ++i) {
        token = scanner.next();
        if (token.kind != Kind::Param) {
            return false;
        }
        const std::size_t number = parameterNumber(sql, token, parameters);
        if (number == 0 || used[number - 1]) {
            return false;
        }
        used[number - 1] = true;
        taken.push_back(number - 1);
        if (!scanner.next().isSymbol(sql, i + 1 < count ? ',' : ')')) {
            return false;
        }
    }
    for (token = scanner.next(); token.isSymbol(sql, ';'); token = scanner.next()) {
    }
    if (token.kind != Kind::End) {
        return false;
    }
    relation.assign(sql.substr(relationBegin, relationEnd - relationBegin));
    columns.assign(sql.substr(columnsBegin, columnsEnd - columnsBegin));
    order = std::move(taken);
    return true;
}

}  // namespace vorn::dal

#include "exec/dal/postgresql/insert_rewrite.h"

#include <charconv>
#include <vector>

#include "exec/dal/postgresql/statement_kind.h"

namespace vorn::dal {
namespace {

using Kind = SqlLexer::Kind;
using Token = SqlLexer::Token;

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

bool startsWithInsertInto(SqlLexer& lexer) {
    const std::string_view sql = lexer.text();
    return lexer.next().is(sql, "insert") && lexer.next().is(sql, "into");
}

// The one row of an INSERT ... VALUES (...): where VALUES and the row are,
// and the parameters in the row.
struct ValuesRow {
    std::size_t valuesBegin = 0;  // the word VALUES
    std::size_t rowBegin = 0;     // just after the opening parenthesis
    std::size_t rowEnd = 0;       // the closing parenthesis
    std::size_t tailBegin = 0;    // just after it
    std::vector<Token> params;
};

// Reads the target and column list up to VALUES at the top level, and the
// opening parenthesis of the row.
bool readUpToRow(SqlLexer& lexer, ValuesRow& row) {
    const std::string_view sql = lexer.text();
    int depth = 0;
    for (Token token = lexer.next();; token = lexer.next()) {
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
            row.valuesBegin = token.begin;
            break;
        }
    }
    if (!lexer.next().isSymbol(sql, '(')) {
        return false;
    }
    row.rowBegin = lexer.position();
    return true;
}

// Reads the row up to its closing parenthesis; every parameter in it must be
// one of $1..$parameters, and each of them must appear.
bool readRowParameters(SqlLexer& lexer, std::size_t parameters, ValuesRow& row) {
    const std::string_view sql = lexer.text();
    std::vector<bool> used(parameters + 1, false);
    int depth = 1;
    Token token;
    while (depth > 0) {
        token = lexer.next();
        if (token.kind == Kind::End || token.is(sql, "default")) {
            return false;
        }
        if (token.isSymbol(sql, '(')) {
            ++depth;
        } else if (token.isSymbol(sql, ')')) {
            --depth;
        } else if (token.kind == Kind::Param) {
            const std::size_t number = parameterNumber(sql, token, parameters);
            if (number == 0) {
                return false;
            }
            used[number] = true;
            row.params.push_back(token);
        }
    }
    row.rowEnd = token.begin;
    row.tailBegin = token.end;
    for (std::size_t n = 1; n <= parameters; ++n) {
        if (!used[n]) {
            return false;
        }
    }
    return true;
}

// After the row: no second row, and no parameter.
bool tailIsPlain(SqlLexer& lexer) {
    Token token = lexer.next();
    if (token.isSymbol(lexer.text(), ',')) {
        return false;
    }
    for (; token.kind != Kind::End; token = lexer.next()) {
        if (token.kind == Kind::Param) {
            return false;
        }
    }
    return true;
}

// "p1, p2, ..." or "$1, $2, ...".
void appendNumbered(std::string& text, std::string_view prefix, std::size_t count) {
    for (std::size_t n = 1; n <= count; ++n) {
        if (n > 1) {
            text.append(", ");
        }
        text.append(prefix);
        text.append(std::to_string(n));
    }
}

std::string unnestText(std::string_view sql, const ValuesRow& row, std::size_t parameters) {
    std::string text(sql.substr(0, row.valuesBegin));
    text.append("SELECT ");
    std::size_t copied = row.rowBegin;
    for (const Token& param : row.params) {
        text.append(sql.substr(copied, param.begin - copied));
        text.append(kAlias);
        text.append(".p");
        text.append(sql.substr(param.begin + 1, param.end - param.begin - 1));
        copied = param.end;
    }
    text.append(sql.substr(copied, row.rowEnd - copied));
    text.append(" FROM unnest(");
    appendNumbered(text, "$", parameters);
    text.append(") AS ");
    text.append(kAlias);
    text.push_back('(');
    appendNumbered(text, "p", parameters);
    text.push_back(')');
    text.append(sql.substr(row.tailBegin));
    return text;
}

// The relation: names and dots only (no alias, no OVERRIDING clause), then
// the opening parenthesis of the column list.
bool readRelation(SqlLexer& lexer, std::string& relation) {
    const std::string_view sql = lexer.text();
    Token token = lexer.next();
    const std::size_t begin = token.begin;
    std::size_t end = begin;
    for (; token.kind == Kind::Word || token.kind == Kind::Quoted || token.isSymbol(sql, '.');
         token = lexer.next()) {
        for (const char* word : {"as", "values", "default", "select", "overriding"}) {
            if (token.is(sql, word)) {
                return false;
            }
        }
        end = token.end;
    }
    relation.assign(sql.substr(begin, end - begin));
    return end != begin && token.isSymbol(sql, '(');
}

// The column list: names separated by commas, up to the closing parenthesis.
bool readColumns(SqlLexer& lexer, std::string& columns, std::size_t& count) {
    const std::string_view sql = lexer.text();
    const std::size_t begin = lexer.position();
    count = 0;
    bool expectName = true;
    Token token = lexer.next();
    for (; !token.isSymbol(sql, ')'); token = lexer.next()) {
        const bool isName = token.kind == Kind::Word || token.kind == Kind::Quoted;
        if (expectName ? !isName : !token.isSymbol(sql, ',')) {
            return false;
        }
        count += isName ? 1 : 0;
        expectName = !expectName;
    }
    columns.assign(sql.substr(begin, token.begin - begin));
    return !expectName;
}

// VALUES (...) with one distinct parameter per column, then only semicolons.
bool readParameterRow(SqlLexer& lexer, std::size_t count, std::vector<std::size_t>& order) {
    const std::string_view sql = lexer.text();
    if (!lexer.next().is(sql, "values") || !lexer.next().isSymbol(sql, '(')) {
        return false;
    }
    std::vector<bool> used(count, false);
    for (std::size_t i = 0; i < count; ++i) {
        const Token token = lexer.next();
        const std::size_t number =
            token.kind == Kind::Param ? parameterNumber(sql, token, count) : 0;
        if (number == 0 || used[number - 1] ||
            !lexer.next().isSymbol(sql, i + 1 < count ? ',' : ')')) {
            return false;
        }
        used[number - 1] = true;
        order.push_back(number - 1);
    }
    Token token = lexer.next();
    while (token.isSymbol(sql, ';')) {
        token = lexer.next();
    }
    return token.kind == Kind::End;
}

}  // namespace

bool PgInsertRewrite::toUnnest(std::string_view sql, std::size_t parameters, std::string& out) {
    SqlLexer lexer(sql, kPostgresDialect);
    ValuesRow row;
    if (parameters == 0 || !startsWithInsertInto(lexer) || !readUpToRow(lexer, row) ||
        !readRowParameters(lexer, parameters, row) || !tailIsPlain(lexer)) {
        return false;
    }
    out = unnestText(sql, row, parameters);
    return true;
}

bool PgInsertRewrite::toCopy(std::string_view sql, std::size_t parameters, std::string& relation,
                             std::string& columns, std::vector<std::size_t>& order) {
    SqlLexer lexer(sql, kPostgresDialect);
    std::string relationText;
    std::string columnText;
    std::size_t count = 0;
    std::vector<std::size_t> taken;
    if (parameters == 0 || !startsWithInsertInto(lexer) || !readRelation(lexer, relationText) ||
        !readColumns(lexer, columnText, count) || count != parameters ||
        !readParameterRow(lexer, count, taken)) {
        return false;
    }
    relation = std::move(relationText);
    columns = std::move(columnText);
    order = std::move(taken);
    return true;
}

}  // namespace vorn::dal

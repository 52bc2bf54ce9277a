// Statements built from arbitrary values. Every text value the builders
// promise to quote (inserter and updater values, the !=, <=, >= and LIKE
// comparisons, == on a text with at most one quote and on a character other
// than a quote) must stay exactly one string literal: the statement is lexed
// as SQLite and PostgreSQL read it, its tokens must match those of the same
// statement built with a plain placeholder text in every value's place, each
// literal must read back as its value, and no second statement may appear.
// Fragments the builders take as SQL text (in(), notIn(), sub-selects) are
// rendered too, for crashes only.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "exec/dal/postgresql/statement_kind.h"
#include "exec/dal/sql_lexer.h"
#include "exec/dal/sqlite/statement.h"
#include "fuzz_check.h"
#include "vorn/vorn.h"

namespace {

using vorn::dal::SqlDialect;
using vorn::dal::SqlLexer;

// The values of one run: three texts, a character and numbers.
struct Values {
    std::string a;
    std::string b;
    std::string c;
    char ch = 'x';
    long l = 0;
    unsigned long ul = 0;
    int i = 0;
    unsigned int ui = 0;
    short sh = 0;
    double d = 0;
    float f = 0;
    unsigned int limit = 0;
    unsigned int offset = 0;
};

Values consume(FuzzedDataProvider& in) {
    Values v;
    v.ch = in.ConsumeIntegral<char>();
    v.l = in.ConsumeIntegral<long>();
    v.ul = in.ConsumeIntegral<unsigned long>();
    v.i = in.ConsumeIntegral<int>();
    v.ui = in.ConsumeIntegral<unsigned int>();
    v.sh = in.ConsumeIntegral<short>();
    v.d = vorn::fuzz::fromBits<double>(in.ConsumeIntegral<std::uint64_t>());
    v.f = vorn::fuzz::fromBits<float>(in.ConsumeIntegral<std::uint32_t>());
    v.limit = in.ConsumeIntegral<unsigned int>();
    v.offset = in.ConsumeIntegral<unsigned int>();
    v.a = in.ConsumeRandomLengthString(256);
    v.b = in.ConsumeRandomLengthString(256);
    v.c = in.ConsumeRemainingBytesAsString();
    return v;
}

// One rendered statement and the texts its literals must hold, in order.
struct Rendered {
    std::string sql;
    std::vector<std::string> literals;
};

// == on a text doubles only its first quote, so it promises a literal only for
// a text with at most one quote.
bool equalityQuotes(const std::string& text) {
    return text.find('\'') == text.rfind('\'');
}

Rendered insert(const Values& v) {
    CVORNInserter ins;
    ins.table("t");
    ins["a"] << v.a;
    ins["l"] << v.l;
    ins["b"] << v.b.c_str();
    ins["ch"] << v.ch;
    ins["ul"] << v.ul;
    ins["ui"] << v.ui;
    ins["sh"] << v.sh;
    ins["d"] << v.d;
    ins["f"] << v.f;
    ins["n"] << CVORNNull();
    ins["c"] << v.c;
    ins["i"] << v.i;
    // A C string ends at its first NUL byte.
    const std::string bAsCString = v.b.substr(0, v.b.find('\0'));
    return {ins.toString(), {v.a, bAsCString, std::string(1, v.ch), v.c}};
}

Rendered update(const Values& v) {
    CVORNTable t("t");
    CVORNUpdater upd;
    upd.table("t");
    upd["a"].assign(v.a);
    upd["ch"].assign(v.ch);
    upd["l"].assign(v.l);
    upd["ui"].assign(v.ui);
    upd["d"].assign(v.d);
    upd["n"].assign(CVORNNull());
    upd["b"].assign(v.b);
    CVORNCriterion where = t["c"] != v.c;
    where&& t["a"] <= v.a;
    where || t["i"] == v.i;
    upd.where(where);
    return {upd.toString(), {v.a, std::string(1, v.ch), v.b, v.c, v.a}};
}

Rendered select(const Values& v) {
    CVORNTable t("t");
    CVORNSelector sel;
    sel.table("t");
    sel.select("a");
    sel.select(t.column("b"));
    sel << vornCount(t["c"]);
    Rendered out;
    CVORNCriterion where = t["a"].like(v.a);
    where&& t["b"] >= v.b;
    where || t["ul"] == v.ul;
    where&& t["d"] != v.d;
    where&& t["f"] == v.f;
    where || t["sh"] != v.sh;
    out.literals = {v.a, v.b};
    if (equalityQuotes(v.c)) {
        where&& t["c"] == v.c;
        out.literals.push_back(v.c);
    }
    if (v.ch != '\'') {
        where || t["ch"] != v.ch;
        out.literals.emplace_back(1, v.ch);
    }
    sel.where(where);
    sel.orderBy("a", v.limit % 2 == 0);
    sel.limit(v.limit, v.offset);
    out.sql = sel.toString();
    return out;
}

Rendered remove(const Values& v) {
    CVORNTable t("t");
    CVORNDeleter del;
    del.table("t");
    CVORNCriterion where = t["a"] <= v.b;
    where&& t["l"] != v.l;
    where&& t["c"] >= v.c;
    del.where(where);
    return {del.toString(), {v.b, v.c}};
}

// The text of a literal token read back: the quotes around it taken off and
// every doubled quote made single.
std::string literalText(std::string_view token) {
    std::string out;
    for (std::size_t i = 1; i + 1 < token.size(); ++i) {
        out.push_back(token[i]);
        if (token[i] == '\'') {
            ++i;
        }
    }
    return out;
}

// The statement with values must lex into the same tokens as the statement
// with placeholder texts, but for its literals, which must read as the values.
void checkLexing(const Rendered& fuzzed, const Rendered& plain, const SqlDialect& dialect) {
    const std::string_view sql = fuzzed.sql;
    const std::string_view plainSql = plain.sql;
    VORN_FUZZ_CHECK_TEXT(!vorn::dal::hasSecondStatement(sql, dialect), sql);
    SqlLexer lexer(sql, dialect);
    SqlLexer reference(plainSql, dialect);
    std::size_t literal = 0;
    for (;;) {
        const SqlLexer::Token token = lexer.next();
        const SqlLexer::Token expected = reference.next();
        VORN_FUZZ_CHECK_TEXT(token.kind == expected.kind, sql);
        if (token.kind == SqlLexer::Kind::End) {
            break;
        }
        const std::string_view text = sql.substr(token.begin, token.end - token.begin);
        const std::string_view plainText =
            plainSql.substr(expected.begin, expected.end - expected.begin);
        if (plainText.size() >= 2 && plainText.front() == '\'') {
            VORN_FUZZ_CHECK_TEXT(literal < fuzzed.literals.size(), sql);
            VORN_FUZZ_CHECK_TEXT(text.size() >= 2 && text.front() == '\'' && text.back() == '\'',
                                 sql);
            VORN_FUZZ_CHECK_TEXT(literalText(text) == fuzzed.literals[literal], sql);
            ++literal;
        } else {
            VORN_FUZZ_CHECK_TEXT(text == plainText, sql);
        }
    }
    VORN_FUZZ_CHECK_TEXT(literal == fuzzed.literals.size(), sql);
}

void check(Rendered (*render)(const Values&), const Values& values) {
    Values plainValues = values;
    plainValues.a = plainValues.b = "v";
    // The same number of quotes decides the same branches in both builds.
    plainValues.c = equalityQuotes(values.c) ? "v" : "'v'v'";
    if (values.ch != '\'') {
        plainValues.ch = 'v';
    }
    const Rendered fuzzed = render(values);
    const Rendered plain = render(plainValues);
    checkLexing(fuzzed, plain, vorn::dal::kSqliteDialect);
    checkLexing(fuzzed, plain, vorn::dal::kPostgresDialect);
}

// SQL fragments taken verbatim or with their quotes doubled: rendered for
// crashes only, since they promise no literal.
void renderFragments(const Values& v) {
    CVORNTable t("t");
    CVORNSelector sub;
    sub.table(v.a);
    sub.select(v.b);
    CVORNSelector sel;
    sel.table("t");
    CVORNCriterion where = t["a"].in(v.a);
    where&& t["b"].notIn(v.b);
    where || t["c"].in(sub);
    where&& t["a"] <= sub;
    where&& t[v.c](v.a);
    where || t["b"] == t[v.c];
    where&& t["c"] != t[v.a];
    sel.where(where);
    sel.compound(sub, static_cast<ENUM_COMPOUND_OP>(v.i & 7));
    CVORNsqlstr raw;
    raw.assign(sel.toString());
    CVORNDroper drop;
    drop.table(v.c);
    VORN_FUZZ_CHECK(!raw.toString().empty() && !drop.toString().empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = [] {
        // A number too long for its buffer is logged; the log is not the subject here.
        vorn::platform::Logger::setLevel(vorn::platform::LogLevel::Off);
        return true;
    }();
    (void)quiet;
    FuzzedDataProvider in(data, size);
    const Values values = consume(in);
    check(insert, values);
    check(update, values);
    check(select, values);
    check(remove, values);
    renderFragments(values);
    return 0;
}

// Rendering a selector with the builders, beside hand-written std::string
// appends of the same final text in the same run. Each iteration builds a
// fresh selector from its inputs and renders it once.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "ratio_reporter.h"
#include "vorn/vorn.h"

namespace {

// Inputs live in globals so that neither side is folded at compile time.
struct Inputs {
    std::string table = "alarm";
    std::string idColumn = "id";
    std::string nameColumn = "name";
    std::string levelColumn = "level";
    std::string name = "x'y";
    long level = 3L;
    unsigned int pageSize = 10;
    unsigned int pageStart = 20;
};

Inputs g_in;

// select id,name from alarm where ((alarm.level=3) and (alarm.name='x''y'))
//   order by id DESC LIMIT 10 OFFSET 20
std::string selectWithLibrary() {
    CVORNSelector selector;
    selector.table(g_in.table);
    selector.select(g_in.idColumn);
    selector.select(g_in.nameColumn);
    selector.where(CVORNTable(g_in.table)[g_in.levelColumn] == g_in.level &&
                   CVORNTable(g_in.table)[g_in.nameColumn] == g_in.name);
    selector.orderBy(g_in.idColumn, false);
    selector.limit(g_in.pageSize, g_in.pageStart);
    return selector.toString();
}

// The same text, written as a caller would by hand: the operator== of a text
// doubles the first quote only.
std::string selectByHand() {
    std::string sql = "select ";
    sql += g_in.idColumn;
    sql += ',';
    sql += g_in.nameColumn;
    sql += " from ";
    sql += g_in.table;
    sql += " where ((";
    sql += g_in.table;
    sql += '.';
    sql += g_in.levelColumn;
    sql += '=';
    sql += std::to_string(g_in.level);
    sql += ") and (";
    sql += g_in.table;
    sql += '.';
    sql += g_in.nameColumn;
    sql += "='";
    const std::string::size_type quote = g_in.name.find('\'');
    if (quote == std::string::npos) {
        sql += g_in.name;
    } else {
        sql.append(g_in.name, 0, quote + 1).append(g_in.name, quote, std::string::npos);
    }
    sql += "')) order by ";
    sql += g_in.idColumn;
    sql += " DESC LIMIT ";
    sql += std::to_string(g_in.pageSize);
    sql += " OFFSET ";
    sql += std::to_string(g_in.pageStart);
    return sql;
}

template <std::string (*Render)()>
void renderStatement(benchmark::State& state) {
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        std::string sql = Render();
        benchmark::DoNotOptimize(sql.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(renderStatement<selectWithLibrary>)->Name("Select/library");
BENCHMARK(renderStatement<selectByHand>)->Name("Select/hand");

}  // namespace

int main(int argc, char** argv) {
    // Both sides must produce the same text, or the comparison means nothing.
    const std::string library = selectWithLibrary();
    const std::string hand = selectByHand();
    if (library != hand) {
        (void)std::fprintf(stderr, "the texts differ:\n  library: %s\n  hand:    %s\n",
                           library.c_str(), hand.c_str());
        std::abort();
    }
    return vorn::bench::runWithRatios(
        argc, argv,
        {{"select: two joined conditions, ORDER BY, LIMIT", "Select/library", "Select/hand"}});
}

// Rendering typical statements with the builders, beside hand-written
// std::string concatenation of the same final text in the same run. Each
// iteration builds the statement from its inputs and renders it once.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "ratio_reporter.h"
#include "vorn/vorn.h"

namespace {

// Inputs live in globals so that neither side is folded at compile time.
struct Inputs {
    std::string table = "alarm";
    std::string idColumn = "id";
    std::string nameColumn = "name";
    std::string orderKey = "time";
    std::string text = "disk 'C' full";
    std::string note = "acknowledged";
    int level = 3;
    int id = 42;
    long time = 1700000000L;
    double ratio = 0.75;
    unsigned int count = 7;
    bool acked = true;
    unsigned int pageSize = 20;
    unsigned int pageStart = 40;
};

Inputs g_in;

std::string escapeQuotes(const std::string& text) {
    std::string out;
    out.reserve(text.size() + 4);
    for (const char c : text) {
        out += c;
        if (c == '\'') {
            out += '\'';
        }
    }
    return out;
}

// select id,name from alarm where ((alarm.level >= 3) and (alarm.text!='disk ''C'' full'))
//   order by time DESC LIMIT 20 OFFSET 40
std::string selectWithLibrary() {
    CVORNSelector selector;
    const CVORNTable table = selector.table(g_in.table);
    selector.select(g_in.idColumn);
    selector.select(g_in.nameColumn);
    CVORNCriterion condition = table["level"] >= g_in.level;
    condition&& table["text"] != g_in.text;
    selector.where(condition);
    selector.orderBy(g_in.orderKey, false);
    selector.limit(g_in.pageSize, g_in.pageStart);
    return selector.toString();
}

std::string selectByHand() {
    return "select " + g_in.idColumn + "," + g_in.nameColumn + " from " + g_in.table + " where ((" +
           g_in.table + ".level >= " + std::to_string(g_in.level) + ") and (" + g_in.table +
           ".text!='" + escapeQuotes(g_in.text) + "')) order by " + g_in.orderKey + " DESC LIMIT " +
           std::to_string(g_in.pageSize) + " OFFSET " + std::to_string(g_in.pageStart);
}

// insert into alarm (id,time,ratio,text,count,acked)
//   values(42,1700000000,0.750000,'disk ''C'' full',7,1)
std::string insertWithLibrary() {
    CVORNInserter inserter;
    inserter.table(g_in.table);
    inserter["id"]["time"]["ratio"]["text"]["count"]["acked"]
        << g_in.id << g_in.time << g_in.ratio << g_in.text << g_in.count << g_in.acked;
    return inserter.toString();
}

std::string insertByHand() {
    return "insert into " + g_in.table + " (id,time,ratio,text,count,acked) values(" +
           std::to_string(g_in.id) + "," + std::to_string(g_in.time) + "," +
           std::to_string(g_in.ratio) + ",'" + escapeQuotes(g_in.text) + "'," +
           std::to_string(g_in.count) + "," + (g_in.acked ? "1" : "0") + ")";
}

// update alarm set level=3,text='acknowledged' where (alarm.id=42)
std::string updateWithLibrary() {
    CVORNUpdater updater;
    const CVORNTable table = updater.table(g_in.table);
    updater["level"].assign(g_in.level);
    updater["text"].assign(g_in.note);
    updater.where(table["id"] == g_in.id);
    return updater.toString();
}

std::string updateByHand() {
    return "update " + g_in.table + " set level=" + std::to_string(g_in.level) + ",text='" +
           escapeQuotes(g_in.note) + "' where (" + g_in.table + ".id=" + std::to_string(g_in.id) +
           ")";
}

std::string allWithLibrary() {
    return selectWithLibrary() + insertWithLibrary() + updateWithLibrary();
}

std::string allByHand() {
    return selectByHand() + insertByHand() + updateByHand();
}

template <std::string (*Render)(), int Statements>
void renderStatements(benchmark::State& state) {
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        std::string sql = Render();
        benchmark::DoNotOptimize(sql.data());
        benchmark::ClobberMemory();
    }
    // Time per statement, shown in seconds with an SI prefix ("85n" = 85 ns).
    state.counters["per_stmt"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * Statements,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK(renderStatements<selectWithLibrary, 1>)->Name("Select/library");
BENCHMARK(renderStatements<selectByHand, 1>)->Name("Select/hand");
BENCHMARK(renderStatements<insertWithLibrary, 1>)->Name("Insert/library");
BENCHMARK(renderStatements<insertByHand, 1>)->Name("Insert/hand");
BENCHMARK(renderStatements<updateWithLibrary, 1>)->Name("Update/library");
BENCHMARK(renderStatements<updateByHand, 1>)->Name("Update/hand");
BENCHMARK(renderStatements<allWithLibrary, 3>)->Name("AllThree/library");
BENCHMARK(renderStatements<allByHand, 3>)->Name("AllThree/hand");

// Both sides must produce the same text, or the comparison means nothing.
bool sameText(const char* label, const std::string& library, const std::string& hand) {
    if (library == hand) {
        return true;
    }
    (void)std::fprintf(stderr, "%s differs:\n  library: %s\n  hand:    %s\n", label,
                       library.c_str(), hand.c_str());
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    const bool same = sameText("select", selectWithLibrary(), selectByHand()) &&
                      sameText("insert", insertWithLibrary(), insertByHand()) &&
                      sameText("update", updateWithLibrary(), updateByHand());
    if (!same) {
        return 1;
    }
    return vorn::bench::runWithRatios(
        argc, argv,
        {{"select: two joined conditions, ORDER BY, LIMIT", "Select/library", "Select/hand"},
         {"insert: six typed values", "Insert/library", "Insert/hand"},
         {"update: two assignments and a condition", "Update/library", "Update/hand"},
         {"all three statements", "AllThree/library", "AllThree/hand"}});
}

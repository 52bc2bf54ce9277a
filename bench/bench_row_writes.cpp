// Single-row writes: 2,000 rows in one transaction, each rendered by a fresh
// CVORNInserter and run by execWriteSQL, beside sqlite3_exec of the same 2,000
// texts (rendered before the run) on a raw connection to the same file,
// opened as the library opens its own, in the same run.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ratio_reporter.h"
#include "store_setup.h"
#include "vorn/vorn.h"
#include "workload.h"

namespace {

constexpr int kRowsPerTransaction = 2000;
const char* const kTable = "w";

vorn::bench::Store* g_store = nullptr;
std::vector<std::string> g_texts;  // the rows' statements, for the baseline

std::string renderRow(int i) {
    const vorn::bench::Rows& rows = vorn::bench::rows();
    CVORNInserter inserter;
    inserter.table(kTable);
    inserter["id"]["name"]["value"] << rows.ids[i] << rows.names[i] << rows.values[i];
    return inserter.toString();
}

void BM_RowWrites_Vorn(benchmark::State& state) {
    const vorn::bench::Rows& rows = vorn::bench::rows();
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        unsigned long code = db->beginTransaction();
        for (int i = 0; i < kRowsPerTransaction && code == 0; ++i) {
            CVORNInserter inserter;
            inserter.table(kTable);
            inserter["id"]["name"]["value"] << rows.ids[i] << rows.names[i] << rows.values[i];
            code = db->execWriteSQL(inserter);
        }
        if (code != 0 || db->commitTransaction() != 0) {
            state.SkipWithError("write failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kRowsPerTransaction);
}

void BM_RowWrites_RawSqlite(benchmark::State& state) {
    sqlite3* raw = g_store->raw();
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        int rc = sqlite3_exec(raw, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
        for (int i = 0; i < kRowsPerTransaction && rc == SQLITE_OK; ++i) {
            rc = sqlite3_exec(raw, g_texts[i].c_str(), nullptr, nullptr, nullptr);
        }
        if (rc != SQLITE_OK || sqlite3_exec(raw, "COMMIT", nullptr, nullptr, nullptr) != 0) {
            state.SkipWithError("write failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kRowsPerTransaction);
}

BENCHMARK(BM_RowWrites_Vorn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RowWrites_RawSqlite)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    vorn::bench::Store store;
    g_store = &store;
    store.execute("create table w(id integer, name text, value real)");
    for (int i = 0; i < kRowsPerTransaction; ++i) {
        g_texts.push_back(renderRow(i));
    }
    return vorn::bench::runWithRatios(
        argc, argv,
        // CPU time: the commit's sync to disk, the same on both sides, makes
        // most of the wall time on a shared machine and most of its noise.
        {{"2,000 single-row writes in one transaction", "BM_RowWrites_Vorn",
          "BM_RowWrites_RawSqlite", true}});
}

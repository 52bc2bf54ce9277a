// A 100,000-row batch through ExecBatchInserter beside the SQLite C API
// inserting the same rows with one prepared statement in one transaction.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <string>

#include "ratio_reporter.h"
#include "store_setup.h"
#include "vorn/vorn.h"
#include "workload.h"

namespace {

using vorn::bench::kRows;
using vorn::bench::rows;

vorn::bench::Store* g_store = nullptr;

void emptyTable(benchmark::State& state, const char* table) {
    state.PauseTiming();
    g_store->execute((std::string("delete from ") + table).c_str());
    state.ResumeTiming();
}

void BM_Batch100k_Vorn(benchmark::State& state) {
    BatchInserter batch;
    vorn::bench::fillBatch(batch, "b_vorn");
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        emptyTable(state, "b_vorn");
        if (db->ExecBatchInserter(batch) != 0) {
            state.SkipWithError("batch failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kRows);
}

void BM_Batch100k_RawSqlite(benchmark::State& state) {
    sqlite3* raw = g_store->raw();
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        emptyTable(state, "b_raw");
        sqlite3_stmt* insert = nullptr;
        sqlite3_prepare_v2(raw, "insert into b_raw (id, name, value) values(?1, ?2, ?3)", -1,
                           &insert, nullptr);
        sqlite3_exec(raw, "begin", nullptr, nullptr, nullptr);
        for (int i = 0; i < kRows; ++i) {
            sqlite3_bind_int64(insert, 1, rows().ids[i]);
            const std::string& name = rows().names[i];
            sqlite3_bind_text(insert, 2, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
            sqlite3_bind_double(insert, 3, rows().values[i]);
            if (sqlite3_step(insert) != SQLITE_DONE) {
                state.SkipWithError("insert failed");
                break;
            }
            sqlite3_reset(insert);
        }
        sqlite3_exec(raw, "commit", nullptr, nullptr, nullptr);
        sqlite3_finalize(insert);
    }
    state.SetItemsProcessed(state.iterations() * kRows);
}

BENCHMARK(BM_Batch100k_Vorn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Batch100k_RawSqlite)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    vorn::bench::Store store;
    g_store = &store;
    // Both sides commit with synchronous=normal, the usual setting with WAL: a
    // commit then waits for no fsync, whose time is the disk's (and, on a
    // shared machine, its other users'), not the library's.
    store.execute("pragma synchronous=normal");
    const std::string file = std::string(std::getenv("VORN_DATA_DIR")) + "/default.db";
    if (vorn::bindDataSource("TaskDB", "sqlite:" + file + "?synchronous=normal") != 0) {
        return 1;
    }
    store.execute("create table b_vorn(id integer, name text, value real)");
    store.execute("create table b_raw(id integer, name text, value real)");
    rows();
    return vorn::bench::runWithRatios(argc, argv,
                                      {{"batch of 100,000 rows (int64, text, double)",
                                        "BM_Batch100k_Vorn", "BM_Batch100k_RawSqlite", true}});
}

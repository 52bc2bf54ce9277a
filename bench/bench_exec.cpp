// Executing raw statements and reading rows through the library, beside the
// SQLite C API doing the same work on the same database file in the same run,
// and (when the build found SOCI) beside SOCI's bulk read of the same rows.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/stat.h>

#ifdef VORN_BENCH_WITH_SOCI
#include "soci_read.h"
#endif

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "ratio_reporter.h"
#include "store_setup.h"
#include "vorn/vorn.h"
#include "workload.h"

namespace {

using vorn::bench::kRows;
const char* const kInsertVorn = "insert into w_vorn(id, name, value) values(1, 'alarm', 2.5)";
const char* const kInsertRaw = "insert into w_raw(id, name, value) values(1, 'alarm', 2.5)";
const char* const kSelect = "select id, name, value from r";

vorn::bench::Store* g_store = nullptr;

void BM_Write_Vorn(benchmark::State& state) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    CVORNsqlstr insert;
    insert.assign(kInsertVorn);
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        if (db->execWriteSQL(insert) != 0) {
            state.SkipWithError("write failed");
            break;
        }
    }
}

// The same calls, each bound by a deadline (a day away: the bound is
// checked, never met).
void BM_Write_VornDeadline(benchmark::State& state) {
    const vorn::CallDeadline deadline(std::chrono::hours(24));
    BM_Write_Vorn(state);
}

void BM_Write_RawSqlite(benchmark::State& state) {
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        if (sqlite3_exec(g_store->raw(), kInsertRaw, nullptr, nullptr, nullptr) != SQLITE_OK) {
            state.SkipWithError("write failed");
            break;
        }
    }
}

// What a write outside a transaction pays to know that the database file at
// its path is still the one its connection opened: one stat() of the file's
// full name, as the connection makes it before the write.
void BM_FileCheck(benchmark::State& state) {
    const std::string path = sqlite3_db_filename(g_store->raw(), "main");
    struct stat info {};
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        benchmark::DoNotOptimize(::stat(path.c_str(), &info));
        benchmark::DoNotOptimize(info.st_ino);
    }
}

void BM_WriteInTransaction_Vorn(benchmark::State& state) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    CVORNsqlstr insert;
    insert.assign(kInsertVorn);
    db->beginTransaction();
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        if (db->execWriteSQL(insert) != 0) {
            state.SkipWithError("write failed");
            break;
        }
    }
    db->commitTransaction();
}

void BM_WriteInTransaction_RawSqlite(benchmark::State& state) {
    sqlite3_exec(g_store->raw(), "begin", nullptr, nullptr, nullptr);
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        if (sqlite3_exec(g_store->raw(), kInsertRaw, nullptr, nullptr, nullptr) != SQLITE_OK) {
            state.SkipWithError("write failed");
            break;
        }
    }
    sqlite3_exec(g_store->raw(), "commit", nullptr, nullptr, nullptr);
}

void BM_Read100k_Vorn(benchmark::State& state) {
    vorn::bench::readThroughLibrary(state, kSelect);
}

void BM_Read100k_VornDeadline(benchmark::State& state) {
    const vorn::CallDeadline deadline(std::chrono::hours(24));
    vorn::bench::readThroughLibrary(state, kSelect);
}

// One pass of the raw SQLite read: text of every field, converted as the
// reader converts it.
template <class Visit>
void readRawSqlite(Visit visit) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(g_store->raw(), kSelect, -1, &statement, nullptr);
    std::string name;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        const auto* idText = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
        const long id = std::strtol(idText, nullptr, 10);
        const auto* nameText = reinterpret_cast<const char*>(sqlite3_column_text(statement, 1));
        name.assign(nameText, static_cast<std::size_t>(sqlite3_column_bytes(statement, 1)));
        const auto* valueText = reinterpret_cast<const char*>(sqlite3_column_text(statement, 2));
        const double value = std::strtod(valueText, nullptr);
        visit(id, name, value);
    }
    sqlite3_finalize(statement);
}

void BM_Read100k_RawSqlite(benchmark::State& state) {
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        readRawSqlite([](long id, const std::string& name, double value) {
            benchmark::DoNotOptimize(id);
            benchmark::DoNotOptimize(name.data());
            benchmark::DoNotOptimize(value);
        });
    }
    state.SetItemsProcessed(state.iterations() * kRows);
}

// Whether the library and its peers read the same values from r.
bool sameValuesRead() {
    const vorn::bench::ReadSums library = vorn::bench::sumsThroughLibrary(kSelect);
    vorn::bench::ReadSums raw;
    readRawSqlite(
        [&](long id, const std::string& name, double value) { raw.add(id, name, value); });
    bool same = library.rows == kRows && vorn::bench::sameSums("raw SQLite", library, raw);
#ifdef VORN_BENCH_WITH_SOCI
    same = vorn::bench::sameSums("SOCI", library, vorn::bench::sociSums()) && same;
#endif
    return same;
}

BENCHMARK(BM_Write_Vorn);
BENCHMARK(BM_Write_VornDeadline);
BENCHMARK(BM_Write_RawSqlite);
BENCHMARK(BM_FileCheck);
BENCHMARK(BM_WriteInTransaction_Vorn);
BENCHMARK(BM_WriteInTransaction_RawSqlite);
BENCHMARK(BM_Read100k_Vorn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Read100k_RawSqlite)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Read100k_VornDeadline)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    vorn::bench::Store store;
    g_store = &store;
    store.execute("create table w_vorn(id integer, name text, value real)");
    store.execute("create table w_raw(id integer, name text, value real)");
    store.execute("create table r(id integer, name text, value real)");
    store.fill("insert into r values(?1, 'device-' || ?1, ?1 * 0.25)", kRows);
#ifdef VORN_BENCH_WITH_SOCI
    vorn::bench::openSoci(store.file(), kSelect);
#endif
    if (!sameValuesRead()) {
        return 1;
    }

    return vorn::bench::runWithRatios(
        argc, argv,
        {{"write, autocommit", "BM_Write_Vorn", "BM_Write_RawSqlite"},
         {"write, inside a transaction", "BM_WriteInTransaction_Vorn",
          "BM_WriteInTransaction_RawSqlite"},
         {"read 100,000 rows (long, string, double)", "BM_Read100k_Vorn", "BM_Read100k_RawSqlite"},
         {"read 100,000 rows vs SOCI (chunks of 1,000)", "BM_Read100k_Vorn", "BM_Read100k_Soci"},
         {"write with a deadline vs without", "BM_Write_VornDeadline", "BM_Write_Vorn", true},
         // A share of the write's time, not a ratio of two ways to do it.
         {"file check of a write (a stat()) / the write, autocommit", "BM_FileCheck",
          "BM_Write_Vorn", true, true},
         {"read with a deadline vs without", "BM_Read100k_VornDeadline", "BM_Read100k_Vorn",
          true}});
}

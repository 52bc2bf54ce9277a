// The PostgreSQL backend against libpq doing the same work in the same run, on
// the server named by $VORN_TEST_PG_URL (e.g. one from scripts/pg-server):
// a 100,000-row batch through ExecBatchInserter beside libpq's COPY of the same
// rows, and reading 100,000 rows through CVORNReader beside libpq's own
// text-mode fetch (PQexec of the whole result, PQgetvalue and std::from_chars).
#include <benchmark/benchmark.h>
#include <libpq-fe.h>

#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "pg_server.h"
#include "ratio_reporter.h"
#include "vorn/vorn.h"
#include "workload.h"

namespace {

using vorn::bench::kRows;
using vorn::bench::rows;

const char* const kSelect = "select id, name, value from bench_pg_read";

PGconn* g_raw = nullptr;

void rawExec(const std::string& sql) {
    PGresult* result = PQexec(g_raw, sql.c_str());
    const ExecStatusType status = PQresultStatus(result);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
        (void)std::fprintf(stderr, "%s: %s", sql.c_str(), PQerrorMessage(g_raw));
        std::exit(1);
    }
    PQclear(result);
}

void emptyTable(benchmark::State& state, const char* table) {
    state.PauseTiming();
    rawExec(std::string("truncate ") + table);
    state.ResumeTiming();
}

void BM_PgBatch100k_Vorn(benchmark::State& state) {
    BatchInserter batch;
    vorn::bench::fillBatch(batch, "bench_pg_batch_vorn");
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        emptyTable(state, "bench_pg_batch_vorn");
        if (db->ExecBatchInserter(batch) != 0) {
            state.SkipWithError("batch failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kRows);
}

// COPY in text format, the values formatted per iteration as the library
// formats its own.
void BM_PgBatch100k_Copy(benchmark::State& state) {
    std::string buffer;
    buffer.reserve(1 << 16);
    char number[32];
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        emptyTable(state, "bench_pg_batch_copy");
        PGresult* started = PQexec(g_raw, "copy bench_pg_batch_copy (id, name, value) from stdin");
        if (PQresultStatus(started) != PGRES_COPY_IN) {
            state.SkipWithError("copy failed");
            PQclear(started);
            break;
        }
        PQclear(started);
        buffer.clear();
        for (int i = 0; i < kRows; ++i) {
            buffer.append(number, std::to_chars(number, number + sizeof number, rows().ids[i]).ptr);
            buffer.push_back('\t');
            buffer.append(rows().names[i]);  // no tab, newline or backslash to escape
            buffer.push_back('\t');
            buffer.append(number,
                          std::to_chars(number, number + sizeof number, rows().values[i]).ptr);
            buffer.push_back('\n');
            if (buffer.size() >= (1 << 16) - 128) {
                PQputCopyData(g_raw, buffer.data(), static_cast<int>(buffer.size()));
                buffer.clear();
            }
        }
        PQputCopyData(g_raw, buffer.data(), static_cast<int>(buffer.size()));
        PQputCopyEnd(g_raw, nullptr);
        PGresult* done = PQgetResult(g_raw);
        const bool ok = PQresultStatus(done) == PGRES_COMMAND_OK;
        PQclear(done);
        while (PGresult* more = PQgetResult(g_raw)) {
            PQclear(more);
        }
        if (!ok) {
            state.SkipWithError("copy failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kRows);
}

void BM_PgRead100k_Vorn(benchmark::State& state) {
    vorn::bench::readThroughLibrary(state, kSelect);
}

void BM_PgWrite_Vorn(benchmark::State& state) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    CVORNsqlstr insert;
    insert.assign("insert into bench_pg_write values (1, 'alarm', 2.5)");
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        if (db->execWriteSQL(insert) != 0) {
            state.SkipWithError("write failed");
            break;
        }
    }
}

// The same calls, each bound by a deadline (a day away: checked, never met).
void BM_PgWrite_VornDeadline(benchmark::State& state) {
    const vorn::CallDeadline deadline(std::chrono::hours(24));
    BM_PgWrite_Vorn(state);
}

void BM_PgRead100k_VornDeadline(benchmark::State& state) {
    const vorn::CallDeadline deadline(std::chrono::hours(24));
    vorn::bench::readThroughLibrary(state, kSelect);
}

// One PQexec of the whole result, each field converted with std::from_chars;
// false when the read failed.
template <class Visit>
bool readLibpq(Visit visit) {
    PGresult* result = PQexec(g_raw, kSelect);
    if (PQresultStatus(result) != PGRES_TUPLES_OK) {
        PQclear(result);
        return false;
    }
    std::string name;
    const int count = PQntuples(result);
    for (int row = 0; row < count; ++row) {
        long id = 0;
        const char* idText = PQgetvalue(result, row, 0);
        std::from_chars(idText, idText + PQgetlength(result, row, 0), id);
        name.assign(PQgetvalue(result, row, 1),
                    static_cast<std::size_t>(PQgetlength(result, row, 1)));
        double value = 0;
        const char* valueText = PQgetvalue(result, row, 2);
        std::from_chars(valueText, valueText + PQgetlength(result, row, 2), value);
        visit(id, name, value);
    }
    PQclear(result);
    return true;
}

void BM_PgRead100k_Libpq(benchmark::State& state) {
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        const bool read = readLibpq([](long id, const std::string& name, double value) {
            benchmark::DoNotOptimize(id);
            benchmark::DoNotOptimize(name.data());
            benchmark::DoNotOptimize(value);
        });
        if (!read) {
            state.SkipWithError("read failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kRows);
}

BENCHMARK(BM_PgBatch100k_Vorn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PgBatch100k_Copy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PgRead100k_Vorn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PgRead100k_Libpq)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PgRead100k_VornDeadline)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PgWrite_Vorn);
BENCHMARK(BM_PgWrite_VornDeadline);

}  // namespace

int main(int argc, char** argv) {
    const char* url = vorn::bench::pgServerUrl("bench_pg");
    if (url == nullptr) {
        return 0;
    }
    g_raw = PQconnectdb(url);
    if (PQstatus(g_raw) != CONNECTION_OK) {
        (void)std::fprintf(stderr, "bench_pg: cannot connect: %s", PQerrorMessage(g_raw));
        return 1;
    }
    if (vorn::bindDataSource("default", url) != 0) {
        (void)std::fprintf(stderr, "bench_pg: cannot bind the default session\n");
        return 1;
    }
    for (const char* table :
         {"bench_pg_batch_vorn", "bench_pg_batch_copy", "bench_pg_read", "bench_pg_write"}) {
        rawExec(std::string("drop table if exists ") + table);
        rawExec(std::string("create table ") + table + " (id int8, name text, value float8)");
    }
    rawExec(
        "insert into bench_pg_read select g, 'device-' || g, g * 0.25 "
        "from generate_series(0, " +
        std::to_string(kRows - 1) + ") g");
    rawExec("vacuum analyze bench_pg_read");
    rows();
    vorn::bench::ReadSums raw;
    readLibpq([&](long id, const std::string& name, double value) { raw.add(id, name, value); });
    const vorn::bench::ReadSums library = vorn::bench::sumsThroughLibrary(kSelect);
    if (library.rows != kRows || !vorn::bench::sameSums("libpq", library, raw)) {
        return 1;
    }

    const int status = vorn::bench::runWithRatios(
        argc, argv,
        {{"batch of 100,000 rows (int8, text, float8) vs COPY", "BM_PgBatch100k_Vorn",
          "BM_PgBatch100k_Copy"},
         {"read 100,000 rows (long, string, double) vs PQexec", "BM_PgRead100k_Vorn",
          "BM_PgRead100k_Libpq"},
         {"read with a deadline vs without", "BM_PgRead100k_VornDeadline", "BM_PgRead100k_Vorn"},
         {"write with a deadline vs without", "BM_PgWrite_VornDeadline", "BM_PgWrite_Vorn"}});
    for (const char* table :
         {"bench_pg_batch_vorn", "bench_pg_batch_copy", "bench_pg_read", "bench_pg_write"}) {
        rawExec(std::string("drop table if exists ") + table);
    }
    PQfinish(g_raw);
    return status;
}

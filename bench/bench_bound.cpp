// Bound statements against each store's own API in the same run: 2,000
// single-row inserts in one transaction, each with its values bound, through
// BoundStatement + execWriteSQL beside a prepared sqlite3_bind_* loop (and
// the same rows through CVORNInserter) and, when $VORN_TEST_PG_URL names a
// server, beside PQexecParams.
#include <benchmark/benchmark.h>
#include <libpq-fe.h>
#include <sqlite3.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "pg_server.h"
#include "ratio_reporter.h"
#include "store_setup.h"
#include "vorn/vorn.h"

namespace {

constexpr int kInserts = 2000;

vorn::bench::Store* g_store = nullptr;
PGconn* g_pg = nullptr;

std::string nameOf(int i) {
    return "device-" + std::to_string(i);
}

// Writes kInserts rows with write(i) (an error code) in one transaction per
// iteration.
template <typename Write>
void writeRows(benchmark::State& state, CVORN* db, Write&& write) {
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        db->beginTransaction();
        for (int i = 0; i < kInserts; ++i) {
            if (write(i) != 0) {
                state.SkipWithError("insert failed");
                break;
            }
        }
        db->commitTransaction();
    }
    state.SetItemsProcessed(state.iterations() * kInserts);
}

// The library: one statement, bound again for every row. useProcessSessionName
// picks the PostgreSQL session ("NeUpgradeDB") over the SQLite one ("default").
void insertBound(benchmark::State& state, const char* table, bool onPostgres) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, onPostgres);
    vorn::BoundStatement insert(std::string("insert into ") + table +
                                "(id, name, value) values({id}, {name}, {value})");
    writeRows(state, db, [&](int i) {
        return db->execWriteSQL(
            insert.bind("id", i).bind("name", nameOf(i)).bind("value", i * 0.25));
    });
}

void BM_BoundInserts_Vorn(benchmark::State& state) {
    insertBound(state, "b_vorn", false);
}

void BM_BoundInserts_RawSqlite(benchmark::State& state) {
    sqlite3* db = g_store->raw();
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        sqlite3_exec(db, "begin", nullptr, nullptr, nullptr);
        sqlite3_stmt* stmt = nullptr;
        sqlite3_prepare_v2(db, "insert into b_raw(id, name, value) values(?1, ?2, ?3)", -1, &stmt,
                           nullptr);
        for (int i = 0; i < kInserts; ++i) {
            const std::string name = nameOf(i);
            sqlite3_bind_int64(stmt, 1, i);
            sqlite3_bind_text(stmt, 2, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
            sqlite3_bind_double(stmt, 3, i * 0.25);
            if (sqlite3_step(stmt) != SQLITE_DONE) {
                state.SkipWithError("insert failed");
                break;
            }
            sqlite3_reset(stmt);
        }
        sqlite3_finalize(stmt);
        sqlite3_exec(db, "commit", nullptr, nullptr, nullptr);
    }
    state.SetItemsProcessed(state.iterations() * kInserts);
}

// The same rows through the library's inserter, a statement built per row.
void BM_InserterInserts_Vorn(benchmark::State& state) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    writeRows(state, db, [&](int i) {
        CVORNInserter insert;
        insert.table("b_built");
        insert["id"]["name"]["value"] << static_cast<long>(i) << nameOf(i) << i * 0.25;
        return db->execWriteSQL(insert);
    });
}

void BM_PgBoundInserts_Vorn(benchmark::State& state) {
    insertBound(state, "bench_bound_vorn", true);
}

void pgRun(const char* sql) {
    PQclear(PQexec(g_pg, sql));
}

// libpq's own: the values formatted as text per row, as the library does.
void BM_PgBoundInserts_Libpq(benchmark::State& state) {
    const char* const sql = "insert into bench_bound_raw(id, name, value) values($1, $2, $3)";
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        pgRun("begin");
        for (int i = 0; i < kInserts; ++i) {
            char id[24];
            char value[32];
            *std::to_chars(id, id + sizeof id - 1, i).ptr = '\0';
            *std::to_chars(value, value + sizeof value - 1, i * 0.25).ptr = '\0';
            const std::string name = nameOf(i);
            const char* values[] = {id, name.c_str(), value};
            PGresult* result = PQexecParams(g_pg, sql, 3, nullptr, values, nullptr, nullptr, 0);
            const bool ok = PQresultStatus(result) == PGRES_COMMAND_OK;
            PQclear(result);
            if (!ok) {
                state.SkipWithError("insert failed");
                break;
            }
        }
        pgRun("commit");
    }
    state.SetItemsProcessed(state.iterations() * kInserts);
}

BENCHMARK(BM_BoundInserts_Vorn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BoundInserts_RawSqlite)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_InserterInserts_Vorn)->Unit(benchmark::kMillisecond);

// The PostgreSQL pair, when there is a server; false when there is none.
bool setUpPostgres() {
    const char* url = vorn::bench::pgServerUrl("bench_bound (PostgreSQL pair)");
    if (url == nullptr) {
        return false;
    }
    g_pg = PQconnectdb(url);
    if (PQstatus(g_pg) != CONNECTION_OK || vorn::bindDataSource("NeUpgradeDB", url) != 0) {
        (void)std::fprintf(stderr, "bench_bound: cannot use %s: %s", url, PQerrorMessage(g_pg));
        std::exit(1);
    }
    for (const char* table : {"bench_bound_vorn", "bench_bound_raw"}) {
        pgRun((std::string("drop table if exists ") + table).c_str());
        pgRun(
            (std::string("create table ") + table + " (id int8, name text, value float8)").c_str());
    }
    benchmark::RegisterBenchmark("BM_PgBoundInserts_Vorn", BM_PgBoundInserts_Vorn)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("BM_PgBoundInserts_Libpq", BM_PgBoundInserts_Libpq)
        ->Unit(benchmark::kMillisecond);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    vorn::bench::Store store;
    g_store = &store;
    store.execute("create table b_vorn(id integer, name text, value real)");
    store.execute("create table b_raw(id integer, name text, value real)");
    store.execute("create table b_built(id integer, name text, value real)");
    const bool postgres = setUpPostgres();

    const int status =
        vorn::bench::runWithRatios(argc, argv,
                                   {{"2,000 bound inserts in a transaction vs sqlite3_bind_*",
                                     "BM_BoundInserts_Vorn", "BM_BoundInserts_RawSqlite"},
                                    {"the same through CVORNInserter vs sqlite3_bind_*",
                                     "BM_InserterInserts_Vorn", "BM_BoundInserts_RawSqlite"},
                                    {"2,000 bound inserts in a transaction vs PQexecParams",
                                     "BM_PgBoundInserts_Vorn", "BM_PgBoundInserts_Libpq"}});
    if (postgres) {
        pgRun("drop table if exists bench_bound_vorn");
        pgRun("drop table if exists bench_bound_raw");
        PQfinish(g_pg);
    }
    return status;
}

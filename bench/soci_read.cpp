// The read benchmark's peer: SOCI's bulk read into vectors, in chunks of
// 1,000 rows, over SOCI's SQLite backend.
#include "soci_read.h"

// Debian's SOCI is configured with Boost, but its package does not bring
// Boost's headers; the benchmark uses none of SOCI's Boost support.
#include <soci/soci-config.h>
#undef SOCI_HAVE_BOOST
#include <benchmark/benchmark.h>
#include <soci/into.h>
#include <soci/prepare-temp-type.h>
#include <soci/session.h>
#include <soci/sqlite3/soci-sqlite3.h>
#include <soci/statement.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace vorn::bench {
namespace {

constexpr std::size_t kChunk = 1000;

std::unique_ptr<soci::session> g_session;
std::string g_select;

// One pass over the rows: chunks of kChunk rows into vectors.
template <class Visit>
void readSoci(Visit visit) {
    std::vector<long long> ids(kChunk);
    std::vector<std::string> names(kChunk);
    std::vector<double> values(kChunk);
    soci::statement statement =
        (g_session->prepare << g_select, soci::into(ids), soci::into(names), soci::into(values));
    statement.execute();
    while (statement.fetch()) {
        for (std::size_t i = 0; i < ids.size(); ++i) {
            visit(ids[i], names[i], values[i]);
        }
        ids.resize(kChunk);
        names.resize(kChunk);
        values.resize(kChunk);
    }
}

void BM_Read100k_Soci(benchmark::State& state) {
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        readSoci([](long long id, const std::string& name, double value) {
            benchmark::DoNotOptimize(id);
            benchmark::DoNotOptimize(name.data());
            benchmark::DoNotOptimize(value);
        });
    }
    state.SetItemsProcessed(state.iterations() * kRows);
}

BENCHMARK(BM_Read100k_Soci)->Unit(benchmark::kMillisecond);

}  // namespace

void openSoci(const std::string& file, const char* select) {
    g_session = std::make_unique<soci::session>(*soci::factory_sqlite3(), "db=" + file);
    g_select = select;
}

ReadSums sociSums() {
    ReadSums sums;
    readSoci(
        [&](long long id, const std::string& name, double value) { sums.add(id, name, value); });
    return sums;
}

}  // namespace vorn::bench

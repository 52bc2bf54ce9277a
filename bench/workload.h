#pragma once

// The work the store benchmarks share: 100,000 rows of (id, name, value) to
// batch-insert, and the library's side of reading such rows back.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "vorn/vorn.h"

namespace vorn::bench {

constexpr int kRows = 100000;

struct Rows {
    std::vector<std::int64_t> ids;
    std::vector<std::string> names;
    std::vector<double> values;
};

// The rows a batch benchmark writes: ids 0.., "device-<id>", id * 0.25.
inline const Rows& rows() {
    static const Rows data = [] {
        Rows r;
        for (int i = 0; i < kRows; ++i) {
            r.ids.push_back(i);
            r.names.push_back("device-" + std::to_string(i));
            r.values.push_back(i * 0.25);
        }
        return r;
    }();
    return data;
}

// A batch of rows() into table's columns id, name, value.
inline void fillBatch(BatchInserter& batch, const char* table) {
    batch.table(table);
    for (int i = 0; i < kRows; ++i) {
        batch["id"] << rows().ids[i];
        batch["name"] << rows().names[i];
        batch["value"] << rows().values[i];
    }
}

// Reads the (integer, text, double) rows of select through CVORNReader into
// long, std::string and double, once per iteration of state; each pass must
// give kRows rows.
inline void readThroughLibrary(benchmark::State& state, const char* select) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    CVORNsqlstr query;
    query.assign(select);
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        CVORNReader reader;
        if (db->execReadSQL(query, reader) != 0) {
            state.SkipWithError("read failed");
            break;
        }
        long id = 0;
        std::string name;
        double value = 0;
        long count = 0;
        while (reader.hasNextElement()) {
            reader >> id >> name >> value;
            benchmark::DoNotOptimize(id);
            benchmark::DoNotOptimize(name.data());
            benchmark::DoNotOptimize(value);
            ++count;
        }
        if (count != kRows) {
            state.SkipWithError("wrong row count");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kRows);
}

// What a read of (id, name, value) rows saw, to check that the programs of one
// comparison read the same values (checked once, outside the timed part).
struct ReadSums {
    long long ids = 0;
    std::size_t textBytes = 0;
    double values = 0;
    long rows = 0;

    void add(long long id, const std::string& name, double value) {
        ids += id;
        textBytes += name.size();
        values += value;
        ++rows;
    }
    bool operator==(const ReadSums& other) const {
        return ids == other.ids && textBytes == other.textBytes && values == other.values &&
               rows == other.rows;
    }
};

// The sums of one read of select through CVORNReader.
inline ReadSums sumsThroughLibrary(const char* select) {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    CVORNsqlstr query;
    query.assign(select);
    CVORNReader reader;
    ReadSums sums;
    if (db->execReadSQL(query, reader) != 0) {
        return sums;
    }
    while (reader.hasNextElement()) {
        long id = 0;
        std::string name;
        double value = 0;
        reader >> id >> name >> value;
        sums.add(id, name, value);
    }
    return sums;
}

// Prints both sums and returns false when they differ.
inline bool sameSums(const char* what, const ReadSums& library, const ReadSums& other) {
    if (library == other) {
        return true;
    }
    (void)std::fprintf(stderr,
                       "%s read other values: library %ld rows, ids %lld, text %zu bytes, "
                       "values %.17g; other %ld rows, ids %lld, text %zu bytes, values %.17g\n",
                       what, library.rows, library.ids, library.textBytes, library.values,
                       other.rows, other.ids, other.textBytes, other.values);
    return false;
}

}  // namespace vorn::bench

// Peak memory of one ExecBatchInserter call of 1,000,000 rows (int64, text,
// double): resident memory before the batch exists, once the caller has filled
// it, and the peak during the call. The call itself may hold one copy of the
// columns plus a constant amount per row.
#include <cstdio>
#include <string>

#include "memory_status.h"
#include "store_setup.h"
#include "vorn/vorn.h"

using vorn::bench::resetPeak;
using vorn::bench::statusKiB;

int main(int argc, char** argv) {
    const long rows = argc > 1 ? std::stol(argv[1]) : 1000000;
    vorn::bench::Store store;
    store.execute("create table m(id integer, name text, value real)");

    const long before = statusKiB("VmRSS");
    BatchInserter batch;
    batch.table("m");
    for (long i = 0; i < rows; ++i) {
        batch["id"] << i;
        batch["name"] << "device-" + std::to_string(i);
        batch["value"] << i * 0.25;
    }
    const long filled = statusKiB("VmRSS");

    resetPeak();
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    const unsigned long code = db->ExecBatchInserter(batch);
    const long peak = statusKiB("VmHWM");

    const double columns = (filled - before) * 1024.0;
    const double call = (peak - filled) * 1024.0;
    std::printf("rows                               %ld (code %lu)\n", rows, code);
    std::printf("caller's batch                     %8.1f MiB  (%.0f bytes/row)\n",
                columns / 1048576, columns / rows);
    std::printf(
        "extra peak during ExecBatchInserter %7.1f MiB  (%.0f bytes/row, %.2f x the "
        "caller's batch)\n",
        call / 1048576, call / rows, call / columns);
    return code == 0 ? 0 : 1;
}

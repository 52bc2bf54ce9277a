// Peak memory of reading a large result from the PostgreSQL server named by
// $VORN_TEST_PG_URL through CVORNReader: 10,000,000 rows (bigint, text,
// double) by default, produced by the server itself. The reader streams, so the
// peak stays the same whatever the number of rows.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "memory_status.h"
#include "pg_server.h"
#include "vorn/vorn.h"

using vorn::bench::resetPeak;
using vorn::bench::statusKiB;

int main(int argc, char** argv) {
    const long rows = argc > 1 ? std::stol(argv[1]) : 10000000;
    const char* url = vorn::bench::pgServerUrl("pg_read_memory");
    if (url == nullptr) {
        return 0;
    }
    if (vorn::bindDataSource("default", url) != 0) {
        (void)std::fprintf(stderr, "pg_read_memory: cannot bind the default session\n");
        return 1;
    }
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    CVORNsqlstr query;
    query.assign("select g, 'device-' || g, g * 0.25 from generate_series(1, " +
                 std::to_string(rows) + ") g");

    const long before = statusKiB("VmRSS");
    resetPeak();
    CVORNReader reader;
    const unsigned long code = db->execReadSQL(query, reader);
    long id = 0;
    std::string name;
    double value = 0;
    long count = 0;
    long sum = 0;
    while (code == 0 && reader.hasNextElement()) {
        reader >> id >> name >> value;
        sum += id;
        ++count;
    }
    const long peak = statusKiB("VmHWM");

    std::printf("rows read                %ld of %ld (code %lu, sum %s)\n", count, rows, code,
                sum == rows * (rows + 1) / 2 ? "right" : "WRONG");
    std::printf("resident before the read %8.1f MiB\n", before / 1024.0);
    std::printf("extra peak while reading %8.1f MiB\n", (peak - before) / 1024.0);
    return code == 0 && count == rows ? 0 : 1;
}

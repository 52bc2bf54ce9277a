// An outside program built against an installed VORNLib: it checks that the
// loaded library is the one its headers describe, runs a statement on the
// embedded store, and prints the C++ standard it was compiled as, so that the
// check can see the library's build flags did not choose it.
#include <vorn/vorn.h>

#include <cstdio>
#include <cstring>
#include <string>
#if __cplusplus >= 202002L
#include <span>
#endif

namespace {

long countRows(CVORN* db) {
    CVORNSelector select;
    select.table("consumer");
    select << vornCount();
    CVORNReader reader;
    long count = -1;
    if (db->execReadSQL(select, reader) != 0) {
        return -1;
    }
    reader >> count;
    return count;
}

}  // namespace

int main() {
    if (!vorn::isCompatibleRuntime() || std::strcmp(vorn::version(), VORN_VERSION_STRING) != 0) {
        std::fprintf(stderr, "headers %s, library %s\n", VORN_VERSION_STRING, vorn::version());
        return 2;
    }
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    CVORNsqlstr create;
    create.assign("create table if not exists consumer(id integer)");
    CVORNInserter insert;
    insert.table("consumer");
    insert["id"] << 7;
    if (db->execWriteSQL(create) != 0 || db->execWriteSQL(insert) != 0) {
        return 1;
    }
    const long count = countRows(db);
#if __cplusplus >= 202002L
    // A C++20 consumer keeps its standard library: std::span is there.
    const long counts[] = {count};
    const std::span<const long> seen(counts);
    std::printf("C++ %ld, VORNLib %s, %zu count(s): ", static_cast<long>(__cplusplus),
                vorn::version(), seen.size());
#else
    std::printf("C++ %ld, VORNLib %s: ", static_cast<long>(__cplusplus), vorn::version());
#endif
    std::printf("%s -> %ld row(s)\n", insert.toString().c_str(), count);
    return count >= 1 ? 0 : 1;
}

// Builds a statement and runs it on the embedded store through the installed library.
#include <vorn/vorn.h>

#include <cstdio>

int main() {
    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    CVORNsqlstr create;
    create.assign("create table if not exists consumer(id integer)");
    CVORNInserter insert;
    insert.table("consumer");
    insert["id"] << 7;
    CVORNSelector select;
    select.table("consumer");
    select << vornCount();
    CVORNReader reader;
    long count = 0;
    if (db->execWriteSQL(create) != 0 || db->execWriteSQL(insert) != 0 ||
        db->execReadSQL(select, reader) != 0) {
        return 1;
    }
    reader >> count;
    std::printf("%s -> %ld row(s)\n", insert.toString().c_str(), count);
    return count == 1 ? 0 : 1;
}

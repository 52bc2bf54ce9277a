// A first program with VORNLib, walked through step by step in
// docs/getting-started.md: a table made with a raw statement, rows written with
// the inserter and a batch, a conditional read with NULL markers, an update, a
// delete, a bound statement for text from outside, the last error and the
// statistics. Each step prints the SQL the library rendered; the library's log
// lines go to stderr.
//
// Run it with scripts/demo's data directory, or any other:
//   VORN_DATA_DIR=$PWD/vorn-data build/default/examples/vorn_getting_started
#include <vorn/vorn.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

int g_failures = 0;

// Runs a statement that returns no rows, prints its text and its code.
unsigned long run(CVORN* db, const CVORNBase& statement) {
    const unsigned long code = db->execWriteSQL(statement);
    std::printf("  > %s\n    code %lu\n", statement.toString().c_str(), code);
    return code;
}

// The same for a statement that must succeed.
void mustRun(CVORN* db, const CVORNBase& statement) {
    if (run(db, statement) != 0) {
        ++g_failures;
    }
}

void printAlarms(CVORN* db, const CVORNBase& query) {
    std::printf("  > %s\n", query.toString().c_str());
    CVORNReader reader;
    if (const unsigned long code = db->execReadSQL(query, reader)) {
        std::printf("    read failed with code %lu\n", code);
        ++g_failures;
        return;
    }
    while (reader.hasNextElement()) {
        long id = 0;
        int level = 0;
        std::string text;
        std::string site;
        long count = 0;
        // A marker stays set once a field set it: a fresh one per field, per row.
        CVORNNull siteIsNull;
        CVORNNull countIsNull;
        reader >> id >> level >> text >> siteIsNull >> site >> countIsNull >> count;
        std::printf("    %2ld | %d | %-20s | %-13s | %s\n", id, level, text.c_str(),
                    siteIsNull ? "NULL" : ("'" + site + "'").c_str(),
                    countIsNull ? "NULL" : std::to_string(count).c_str());
    }
}

void createTable(CVORN* db) {
    std::printf("1. A table, made with a raw statement\n");
    CVORNsqlstr drop;
    drop.assign("drop table if exists alarm");
    mustRun(db, drop);
    CVORNsqlstr create;
    create.assign(
        "create table alarm(id integer primary key, level integer, text text, site text, "
        "count integer)");
    mustRun(db, create);
}

void insertRows(CVORN* db) {
    std::printf("\n2. Rows, one inserter each\n");
    const struct {
        long id;
        int level;
        const char* text;
        const char* site;  // nullptr: NULL
        long count;
    } alarms[] = {{1, 3, "disk full", "rack 4", 2},
                  {2, 1, "fan speed low", nullptr, 7},
                  {3, 4, "it's getting hot", " ", 1}};
    for (const auto& alarm : alarms) {
        CVORNInserter inserter;
        inserter.table("alarm");
        inserter["id"]["level"]["text"]["site"]["count"] << alarm.id << alarm.level << alarm.text;
        if (alarm.site != nullptr) {
            inserter << alarm.site;
        } else {
            inserter << CVORNNull();
        }
        inserter << alarm.count;
        mustRun(db, inserter);
    }

    // Unsigned numbers: 4294967295 and above are written as 0, an unsigned int
    // from 2147483648 up with the signed format. No log line says so.
    CVORNInserter big;
    big.table("alarm");
    big["id"]["level"]["text"]["count"] << 4L << 2 << "counter overflow" << 5000000000UL;
    mustRun(db, big);
    CVORNInserter wide;
    wide.table("alarm");
    wide["id"]["level"]["text"]["count"] << 5L << 2 << "counter wrapped" << 3000000000U;
    mustRun(db, wide);
}

void insertBatch(CVORN* db) {
    std::printf("\n3. A batch: whole columns, bound, all rows or none\n");
    BatchInserter batch;
    batch.table("alarm");
    for (long id = 10; id < 13; ++id) {
        batch["id"] << id;
        batch["level"] << 2;
        batch["text"] << std::string("link down on port ") + std::to_string(id);
        batch["site"] << std::string("rack 7");
    }
    std::printf("  > %s\n", batch.toString().c_str());
    unsigned long code = db->ExecBatchInserter(batch);
    std::printf("    code %lu\n", code);
    if (code != 0) {
        ++g_failures;
    }

    // A value of another type than its column's first value is dropped (and
    // logged); here that leaves the columns of unequal length, which is refused.
    BatchInserter uneven;
    uneven.table("alarm");
    uneven["id"] << 20L << 21L;
    uneven["level"] << 1 << 2.5;
    code = db->ExecBatchInserter(uneven);
    std::printf("  uneven batch: code %lu\n", code);

    BatchInserter empty;
    empty.table("alarm");
    code = db->ExecBatchInserter(empty);
    std::printf("  empty batch: code %lu\n", code);
}

void selectRows(CVORN* db) {
    std::printf("\n4. A conditional read, NULLs told by markers\n");
    CVORNTable alarm("alarm");
    CVORNSelector selector;
    selector.table("alarm");
    for (const char* column : {"id", "level", "text", "site", "count"}) {
        selector.select(column);
    }
    // A fresh operand per comparison: alarm["..."] makes one.
    selector.where(alarm["level"] >= 2 || alarm["site"] == std::string("rack 4"));
    selector.orderBy("id");
    printAlarms(db, selector);

    // Blanks are uneven in the rendered text, on purpose.
    CVORNSelector count;
    count.table("alarm");
    count << vornCount();
    CVORNSelector all;
    all.table("alarm");
    std::printf("  %s\n  %s\n", count.toString().c_str(), all.toString().c_str());

    // An operand compared twice chains both comparisons.
    CVORNCriterionItem level = alarm["level"];
    level == 1;
    std::printf("  one operand compared twice: %s\n", (level == 2).toString().c_str());
}

void updateAndDelete(CVORN* db) {
    std::printf("\n5. Update and delete by condition\n");
    CVORNTable alarm("alarm");
    CVORNUpdater updater;
    updater.table("alarm");
    updater["site"].assign(std::string("rack 5"));
    updater["count"].assign(3000000000U);  // the updater writes unsigned int unsigned
    updater.where(alarm["id"] == 5L);
    mustRun(db, updater);
    updater.clear();
    std::printf("  after clear(): \"%s\"\n", updater.toString().c_str());

    CVORNDeleter deleter;
    deleter.table("alarm");
    deleter.where(alarm["level"] <= 1);
    mustRun(db, deleter);

    CVORNsqlstr all;
    all.assign("select id, level, text, site, count from alarm order by id");
    printAlarms(db, all);
}

void boundStatement(CVORN* db) {
    std::printf("\n6. Text from outside: a bound statement\n");
    const std::string fromRequest = "it's getting hot";
    CVORNTable alarm("alarm");
    std::printf("  == doubles only the first quote: %s\n",
                (alarm["text"] == std::string("x'' OR 1=1 OR ''='")).toString().c_str());

    vorn::BoundStatement find("select id, level, text, site, count from alarm where text = {text}");
    find.bind("text", fromRequest);
    printAlarms(db, find);

    vorn::BoundStatement note("update alarm set site = {site} where id = {id}");
    mustRun(db, note.bind("site", "Bob's 'lab'").bind("id", 10L));
    vorn::BoundStatement one("select id, level, text, site, count from alarm where id = {id}");
    printAlarms(db, one.bind("id", 10L));
}

void lastError(CVORN* db) {
    std::printf("\n7. Why a call failed: vorn::lastError()\n");
    CVORNInserter duplicate;
    duplicate.table("alarm");
    duplicate["id"]["level"]["text"] << 1L << 1 << "again";
    if (run(db, duplicate) != 0) {
        const vorn::ErrorInfo e = vorn::lastError();
        std::printf("    category %s, sqlstate %s, store code %llu, session %s\n    message: %s\n",
                    vorn::toString(e.category), e.sqlstate.c_str(),
                    static_cast<unsigned long long>(e.storeCode), e.session.c_str(),
                    e.message.c_str());
    } else {
        ++g_failures;
    }
}

void printStatistics() {
    std::printf("\n8. What the library counted: vorn::statistics()\n");
    std::printf("  %-8s %-6s %5s %6s %5s\n", "session", "kind", "calls", "errors", "rows");
    for (const vorn::StatementStatistics& s : vorn::statistics()) {
        std::printf("  %-8s %-6s %5llu %6llu %5llu\n", s.session.c_str(), vorn::toString(s.kind),
                    static_cast<unsigned long long>(s.calls),
                    static_cast<unsigned long long>(s.errors),
                    static_cast<unsigned long long>(s.rows));
    }
}

}  // namespace

int main() {
    // Line-buffered, so that the library's log lines on stderr fall in place
    // when both go to one file.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("session \"default\" -> %s\n\n", vorn::describeDataSource("default").c_str());

    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);  // a MIRAsqlDB on session "default"
    createTable(db);
    insertRows(db);
    insertBatch(db);
    selectRows(db);
    updateAndDelete(db);
    boundStatement(db);
    lastError(db);
    printStatistics();

    std::printf("\n%s\n", g_failures == 0 ? "Done." : "Done, with failures (see above).");
    return g_failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

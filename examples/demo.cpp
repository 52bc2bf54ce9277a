// A tour of VORNLib as a server process uses it: tables made with raw
// statements, rows written with the inserter and read back through the reader,
// a rolled-back transaction, conditions, updates, deletes, a dropped scratch
// table and a batch insert of 100,000 rows.
#include <vorn/vorn.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

int g_failures = 0;

// Runs one statement and reports a failure; returns the code.
unsigned long run(CVORN* db, const CVORNBase& statement) {
    const unsigned long code = db->execWriteSQL(statement);
    if (code != 0) {
        std::printf("  ! failed with code %lu: %s\n", code, statement.toString().c_str());
        ++g_failures;
    }
    return code;
}

unsigned long runRaw(CVORN* db, const std::string& sql) {
    CVORNsqlstr statement;
    statement.assign(sql);
    return run(db, statement);
}

long countRows(CVORN* db, const std::string& table) {
    CVORNSelector selector;
    selector.table(table);
    selector << vornCount();
    CVORNReader reader;
    long count = -1;
    if (db->execReadSQL(selector, reader) == 0) {
        reader >> count;
    }
    return count;
}

void printAlarms(CVORN* db, const CVORNBase& query) {
    std::printf("  > %s\n", query.toString().c_str());
    CVORNReader reader;
    if (db->execReadSQL(query, reader) != 0) {
        ++g_failures;
        return;
    }
    std::printf("    %-4s %-6s %-28s %-5s %-8s %s\n", "id", "level", "text", "ack", "ratio",
                "note");
    while (reader.hasNextElement()) {
        long id = 0;
        int level = 0;
        std::string text;
        int acknowledged = 0;
        double ratio = 0;
        std::string note;
        CVORNNull noteIsNull;
        reader >> id >> level >> text >> acknowledged >> ratio >> noteIsNull >> note;
        std::printf("    %-4ld %-6d %-28s %-5s %-8.3f %s\n", id, level, text.c_str(),
                    acknowledged ? "yes" : "no", ratio, noteIsNull ? "(NULL)" : note.c_str());
    }
}

void rawStatements(CVORN* db) {
    std::printf("\n1. Tables and rows with raw statements\n");
    runRaw(db, "drop table if exists alarm");
    runRaw(db, "drop table if exists history");
    runRaw(db,
           "create table alarm(id integer primary key, level integer, text text, "
           "ack integer, ratio real, note text)");
    runRaw(db, "create table history(id integer, source text, value real)");
    runRaw(db, "insert into alarm values(1, 3, 'disk ''C'' full', 1, 0.97, NULL)");
    runRaw(db, "insert into alarm values(2, 1, 'fan speed low', 0, 0.25, 'rack 4')");
    std::printf("  created tables alarm and history, wrote 2 alarms\n");
}

void readBack(CVORN* db) {
    std::printf("\n2. Reading back with typed extraction and NULL markers\n");
    CVORNsqlstr query;
    query.assign("select id, level, text, ack, ratio, note from alarm order by id");
    printAlarms(db, query);
}

void rolledBackTransaction(CVORN* db) {
    std::printf("\n3. A transaction that is rolled back\n");
    db->beginTransaction();
    runRaw(db, "insert into alarm values(90, 5, 'temporary', 0, 0, NULL)");
    runRaw(db, "insert into alarm values(91, 5, 'temporary', 0, 0, NULL)");
    std::printf("  inside the transaction: %ld alarms\n", countRows(db, "alarm"));
    db->rollbackTransaction();
    std::printf("  after rollback:         %ld alarms\n", countRows(db, "alarm"));
}

void builders(CVORN* db) {
    std::printf("\n4. Rows from the inserter, queries from the selector\n");
    const struct {
        long id;
        const char* text;
        double ratio;
        int level;
        bool acknowledged;
    } alarms[] = {{3, "link down on port 7", 0.5, 2, false},
                  {4, "it's getting hot", 0.875, 4, true},
                  {5, "x'); DROP TABLE alarm; --", 0.125, 1, false},
                  {6, "power supply 2 lost", 0.75, 3, false}};
    for (const auto& alarm : alarms) {
        CVORNInserter inserter;
        inserter.table("alarm");
        inserter["id"]["level"]["text"]["ack"]["ratio"]["note"]
            << alarm.id << alarm.level << alarm.text << alarm.acknowledged << alarm.ratio
            << CVORNNull();
        run(db, inserter);
    }
    std::printf("  inserted 4 more alarms (one with a hostile text that stays data)\n");

    CVORNTable alarm("alarm");
    CVORNSelector selector;
    selector.table("alarm");
    for (const char* column : {"id", "level", "text", "ack", "ratio", "note"}) {
        selector.select(column);
    }
    CVORNCriterion serious = alarm["level"] >= 3;
    CVORNCriterion open = alarm["ack"] == 0;
    CVORNCriterion hot = alarm["text"].like("%hot%");
    selector.where((serious && open) || hot);
    selector.orderBy("level", false);
    selector.orderBy("id");
    selector.limit(10, 0);
    printAlarms(db, selector);

    CVORNSelector stats;
    stats.table("alarm");
    stats << vornCount() << vornMax(alarm["level"]) << vornAvg(alarm["ratio"]);
    {
        // The reader keeps its result open until it is cleared or destroyed.
        CVORNReader reader;
        if (db->execReadSQL(stats, reader) == 0) {
            long count = 0;
            int maxLevel = 0;
            double averageRatio = 0;
            reader >> count >> maxLevel >> averageRatio;
            std::printf("  > %s\n    %ld alarms, highest level %d, average ratio %.3f\n",
                        stats.toString().c_str(), count, maxLevel, averageRatio);
        }
    }

    std::printf("\n5. Updating and deleting by condition, dropping a scratch table\n");
    CVORNUpdater updater;
    updater.table("alarm");
    updater["ack"].assign(1);
    updater["note"].assign(std::string("seen by the night shift"));
    updater.where(alarm["level"] >= 3);
    run(db, updater);
    std::printf("  > %s\n", updater.toString().c_str());

    CVORNDeleter deleter;
    deleter.table("alarm");
    deleter.where(CVORNTable("alarm")["level"] <= 1);
    run(db, deleter);
    std::printf("  > %s\n", deleter.toString().c_str());

    CVORNsqlstr all;
    all.assign("select id, level, text, ack, ratio, note from alarm order by id");
    printAlarms(db, all);

    runRaw(db, "create table scratch(x integer)");
    CVORNDroper dropper;
    dropper.table("scratch");
    run(db, dropper);
    std::printf("  > %s\n", dropper.toString().c_str());
}

void batchInsert(CVORN* db) {
    std::printf("\n6. A batch insert of 100,000 history rows\n");
    constexpr int kRows = 100000;
    BatchInserter batch;
    batch.table("history");
    for (int i = 0; i < kRows; ++i) {
        batch["id"] << i;
    }
    for (int i = 0; i < kRows; ++i) {
        batch["source"] << std::string(i % 2 ? "sensor-a" : "sensor-b");
    }
    for (int i = 0; i < kRows; ++i) {
        batch["value"] << i * 0.5;
    }
    std::printf("  > %s\n", batch.toString().c_str());
    const auto start = std::chrono::steady_clock::now();
    const unsigned long code = db->ExecBatchInserter(batch);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (code != 0) {
        std::printf("  ! batch failed with code %lu\n", code);
        ++g_failures;
        return;
    }
    std::printf("  wrote %d rows in %.3f s (%.0f rows/s); history now holds %ld rows\n", kRows,
                seconds, kRows / seconds, countRows(db, "history"));
}

// What the library counted of this run: calls, errors, rows and durations per
// session name and kind of statement.
void printStatistics() {
    std::printf("\nStatistics of this run:\n");
    std::printf("  %-10s %-9s %6s %6s %8s %10s %10s\n", "session", "kind", "calls", "errors",
                "rows", "total ms", "max ms");
    for (const vorn::StatementStatistics& s : vorn::statistics()) {
        using Ms = std::chrono::duration<double, std::milli>;
        std::printf("  %-10s %-9s %6llu %6llu %8llu %10.3f %10.3f\n", s.session.c_str(),
                    vorn::toString(s.kind), static_cast<unsigned long long>(s.calls),
                    static_cast<unsigned long long>(s.errors),
                    static_cast<unsigned long long>(s.rows), Ms(s.totalDuration).count(),
                    Ms(s.maxDuration).count());
    }
}

}  // namespace

int main() {
    std::printf("VORNLib demo: session \"default\" -> %s\n",
                vorn::describeDataSource("default").c_str());

    CVORN* db = nullptr;
    GuardDB guard("TaskDB", db, false);
    rawStatements(db);
    readBack(db);
    rolledBackTransaction(db);
    builders(db);
    batchInsert(db);
    printStatistics();

    std::printf("\n%s\n", g_failures == 0 ? "Done: every step succeeded."
                                          : "Done, with failures (see above).");
    return g_failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

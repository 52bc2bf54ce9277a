#include "soak_worker.h"

#include <cstdio>
#include <fstream>
#include <mutex>
#include <thread>

#include "store_fixture.h"
#include "vorn/platform/error_codes.h"
#include "vorn/vorn.h"

namespace vorn::test::soak {
namespace {

using Clock = std::chrono::steady_clock;

// The failed calls a thread shows on stderr; the rest are only counted.
constexpr long kFailuresShown = 5;

bool busyOrLocked(unsigned long code) {
    if (code >> 48 == 0x5047) {
        const std::string state = platform::sqlstateFromCode(code);
        return state == "40001" || state == "40P01" || state == "55P03";
    }
    return (code & 0xff) == 5 || (code & 0xff) == 6;  // SQLITE_BUSY, SQLITE_LOCKED
}

// The writes and reads of one thread, on the thread's own GuardDB.
class Worker {
  public:
    explicit Worker(std::string prefix)
        : m_prefix(std::move(prefix)), m_guard("SoakDB", m_db, false) {}

    void run(Clock::time_point until, std::vector<Unit>& units);
    const Tally& tally() const { return m_tally; }

  private:
    // False (and counted) when code is not 0.
    bool ok(unsigned long code) {
        if (code == 0) {
            return true;
        }
        if (m_tally.failures <= kFailuresShown) {
            std::fprintf(stderr, "soak %s: a call returned %lu\n", m_prefix.c_str(), code);
        }
        ++m_tally.failures;
        m_tally.busyLocked += busyOrLocked(code) ? 1 : 0;
        return false;
    }
    std::string insert(const std::string& key, int n) const {
        return "insert into soak(unit, n, payload) values('" + key + "', " + std::to_string(n) +
               ", 'row " + std::to_string(n) + " of " + key + "')";
    }
    bool inserts(const std::string& key, int from, int to);
    bool batch(const std::string& key, int from, int to);
    int writeUnit(long seq, const std::string& key);
    void openHeldRead(CVORNReader& reader);
    void finishRead(CVORNReader& reader);
    void checkStored(const std::string& key, int rows);

    std::string m_prefix;
    CVORN* m_db = nullptr;
    GuardDB m_guard;
    Tally m_tally;
};

bool Worker::inserts(const std::string& key, int from, int to) {
    for (int n = from; n < to; ++n) {
        if (!ok(m_db->execWriteSQL(sqlText(insert(key, n))))) {
            return false;
        }
    }
    return true;
}

bool Worker::batch(const std::string& key, int from, int to) {
    BatchInserter rows;
    rows.table("soak");
    for (int n = from; n < to; ++n) {
        rows["unit"] << key;
        rows["n"] << n;
        rows["payload"] << "batch row " + std::to_string(n) + " of " + key;
    }
    return ok(m_db->ExecBatchInserter(rows));
}

// Writes unit seq in one of five ways; returns the rows it should have left.
int Worker::writeUnit(long seq, const std::string& key) {
    const int rows = 1 + static_cast<int>(seq / 5 % 6);
    switch (seq % 5) {
        case 0:  // one statement, autocommitted
            return inserts(key, 0, 1) ? 1 : 0;
        case 1:  // a batch in a transaction of its own
            return batch(key, 0, rows) ? rows : 0;
        case 2:  // statements in a transaction that is rolled back
            if (ok(m_db->beginTransaction())) {
                inserts(key, 0, rows);
                ok(m_db->rollbackTransaction());
            }
            return 0;
        default: {  // statements, or a batch and a statement, in a transaction
            if (!ok(m_db->beginTransaction())) {
                return 0;
            }
            const bool written = seq % 5 == 3 ? inserts(key, 0, rows)
                                              : batch(key, 0, rows) && inserts(key, rows, rows + 1);
            if (written && ok(m_db->commitTransaction())) {
                return seq % 5 == 3 ? rows : rows + 1;
            }
            ok(m_db->rollbackTransaction());  // a failed commit may leave it open
            return 0;
        }
    }
}

// A read left open (first row taken) while the thread writes.
void Worker::openHeldRead(CVORNReader& reader) {
    ++m_tally.reads;
    ++m_tally.heldReads;
    if (ok(m_db->execReadSQL(sqlText("select unit, n from soak limit 200"), reader)) &&
        reader.hasNextElement()) {
        std::string unit;
        long n = 0;
        reader >> unit >> n;
    }
}

void Worker::finishRead(CVORNReader& reader) {
    while (reader.hasNextElement()) {
        std::string unit;
        long n = 0;
        reader >> unit >> n;
    }
    reader.clear();
}

// What the thread committed is what it reads back at once.
void Worker::checkStored(const std::string& key, int rows) {
    ++m_tally.reads;
    CVORNReader reader;
    long count = -1;
    if (ok(m_db->execReadSQL(sqlText("select count(*) from soak where unit = '" + key + "'"),
                             reader)) &&
        reader.hasNextElement()) {
        reader >> count;
    }
    if (count != rows && ++m_tally.failures <= kFailuresShown) {
        std::fprintf(stderr, "soak %s: read back %ld rows, not %d\n", key.c_str(), count, rows);
    }
}

void Worker::run(Clock::time_point until, std::vector<Unit>& units) {
    for (long seq = 0; Clock::now() < until; ++seq) {
        const std::string key = m_prefix + "u" + std::to_string(seq);
        CVORNReader held;
        const bool holding = seq % 2 == 0;
        if (holding) {
            openHeldRead(held);
        }
        const int rows = writeUnit(seq, key);
        if (holding) {
            finishRead(held);
        }
        checkStored(key, rows);
        units.push_back({key, rows});
        ++m_tally.units;
    }
}

void writeRecords(const std::string& file, const std::vector<Unit>& units, const Tally& tally) {
    std::ofstream out(file);
    out << tally.units << ' ' << tally.failures << ' ' << tally.busyLocked << ' ' << tally.reads
        << ' ' << tally.heldReads << '\n';
    for (const Unit& unit : units) {
        out << unit.key << ' ' << unit.rows << '\n';
    }
}

}  // namespace

Tally& Tally::operator+=(const Tally& other) {
    units += other.units;
    failures += other.failures;
    busyLocked += other.busyLocked;
    reads += other.reads;
    heldReads += other.heldReads;
    return *this;
}

int runWorkerProcess(int process, int threads, const std::string& url,
                     std::chrono::seconds duration, const std::string& recordFile) {
    if (bindDataSource("default", url) != 0) {
        return 2;
    }
    const Clock::time_point until = Clock::now() + duration;
    std::mutex mutex;
    std::vector<Unit> units;
    Tally tally;
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            Worker worker("p" + std::to_string(process) + "t" + std::to_string(t));
            std::vector<Unit> mine;
            worker.run(until, mine);
            std::lock_guard<std::mutex> lock(mutex);
            units.insert(units.end(), mine.begin(), mine.end());
            tally += worker.tally();
        });
    }
    for (auto& worker : workers) {
        worker.join();
    }
    writeRecords(recordFile, units, tally);
    return tally.failures == 0 ? 0 : 1;
}

bool readRecords(const std::string& recordFile, std::vector<Unit>& units, Tally& tally) {
    std::ifstream in(recordFile);
    if (!(in >> tally.units >> tally.failures >> tally.busyLocked >> tally.reads >>
          tally.heldReads)) {
        return false;
    }
    Unit unit;
    while (in >> unit.key >> unit.rows) {
        units.push_back(unit);
    }
    return static_cast<long>(units.size()) == tally.units;
}

}  // namespace vorn::test::soak

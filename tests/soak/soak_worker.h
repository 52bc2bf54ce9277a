#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace vorn::test::soak {

// One unit of work as its worker saw it: the rows it expects to find stored
// under key afterwards (0 for a unit rolled back or failed).
struct Unit {
    std::string key;
    int rows = 0;
};

// What a worker process counted.
struct Tally {
    long units = 0;
    long failures = 0;    // calls that returned anything but 0
    long busyLocked = 0;  // of them: busy or locked (SQLite 5 / 6, PostgreSQL 40001, 40P01, 55P03)
    long reads = 0;       // reads run, including those held open across a write
    long heldReads = 0;

    Tally& operator+=(const Tally& other);
};

// The work of one forked process: binds the session "default" to url, runs
// `threads` threads until `duration` has passed, each writing units into
// table soak(unit, n, payload) and reading, and writes its units and tally to
// recordFile. Returns the exit status for _exit: 0 when no call failed.
int runWorkerProcess(int process, int threads, const std::string& url,
                     std::chrono::seconds duration, const std::string& recordFile);

// Reads what runWorkerProcess wrote; false when the file is missing or cut short.
bool readRecords(const std::string& recordFile, std::vector<Unit>& units, Tally& tally);

}  // namespace vorn::test::soak

// CVORNReader's extractions of arbitrary field texts and numbers. Each input
// is one row written through a batch (values bound, never formatted) into an
// SQLite file in a directory made once per process, then read back through
// CVORNReader into every target type. Invariants: no crash or undefined
// behaviour on any text, and every number comes back as it was written:
// signed and unsigned 64-bit integers, doubles and floats exactly, texts
// byte for byte (one blank reads as empty, as the reader documents).
#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string>

#include "fuzz_check.h"
#include "vorn/vorn.h"

namespace {

struct Row {
    long l = 0;
    unsigned long ul = 0;
    double d = 0;
    float f = 0;
    std::string s;
};

// The store of this process: a directory of its own, removed at exit.
std::filesystem::path g_dir;

void removeStore() {
    std::error_code ec;
    std::filesystem::remove_all(g_dir, ec);
}

unsigned long write(CVORN* db, const std::string& sql) {
    CVORNsqlstr statement;
    statement.assign(sql);
    return db->execWriteSQL(statement);
}

void openStore() {
    vorn::platform::Logger::setLevel(vorn::platform::LogLevel::Off);
    std::string dir = (std::filesystem::temp_directory_path() / "vorn-fuzz-reader-XXXXXX").string();
    VORN_FUZZ_CHECK(::mkdtemp(dir.data()) != nullptr);
    g_dir = dir;
    VORN_FUZZ_CHECK(std::atexit(removeStore) == 0);
    const std::string url =
        "sqlite:" + (g_dir / "reader.db").string() + "?journal_mode=memory&synchronous=off";
    VORN_FUZZ_CHECK(vorn::bindDataSource("default", url) == 0);
    CVORN* db = nullptr;
    GuardDB guard("FuzzDB", db, false);
    VORN_FUZZ_CHECK(write(db, "create table t (l integer, ul integer, d real, f real, s text)") ==
                    0);
}

void store(CVORN* db, const Row& row) {
    VORN_FUZZ_CHECK(write(db, "delete from t") == 0);
    BatchInserter batch;
    batch.table("t");
    batch["l"] << row.l;
    batch["ul"] << row.ul;
    batch["d"] << row.d;
    batch["f"] << row.f;
    batch["s"] << row.s;
    VORN_FUZZ_CHECK(db->ExecBatchInserter(batch) == 0);
}

// The numbers come back as they were written.
void checkNumbers(CVORNReader& reader, const Row& row) {
    long l = 0;
    unsigned long ul = 0;
    int i = -7;
    short sh = -7;
    reader >> l >> ul >> i >> sh;
    VORN_FUZZ_CHECK(l == row.l);
    VORN_FUZZ_CHECK(ul == row.ul);
    if (row.l >= std::numeric_limits<int>::min() && row.l <= std::numeric_limits<int>::max()) {
        VORN_FUZZ_CHECK(i == row.l);
    }
    if (row.l >= std::numeric_limits<short>::min() && row.l <= std::numeric_limits<short>::max()) {
        VORN_FUZZ_CHECK(sh == row.l);
    }
    double d = 0.5;
    float dAsFloat = 0.5F;
    float f = 0.5F;
    CVORNNull dIsNull;
    reader >> dIsNull >> d >> dAsFloat >> f;
    if (std::isnan(row.d)) {
        // SQLite stores a NaN as NULL.
        VORN_FUZZ_CHECK(static_cast<bool>(dIsNull) && d == 0.5);
    } else {
        VORN_FUZZ_CHECK(!dIsNull && d == row.d);
        if (std::fabs(row.d) <= std::numeric_limits<float>::max()) {
            VORN_FUZZ_CHECK(dAsFloat == static_cast<float>(row.d));
        }
    }
    VORN_FUZZ_CHECK(std::isnan(row.f) ? f == 0.5F : f == row.f);
}

// The text comes back byte for byte; every numeric reading of it is defined.
void checkText(CVORNReader& reader, const Row& row) {
    std::string s;
    char c = '?';
    CVORNNull sIsNull;
    reader >> sIsNull >> s >> c;
    const std::string expected = row.s == " " ? std::string() : row.s;
    VORN_FUZZ_CHECK(s == expected);
    VORN_FUZZ_CHECK(static_cast<bool>(sIsNull) == expected.empty());
    VORN_FUZZ_CHECK(row.s.empty() ? c == '?' : c == row.s.front());
    long l = 0;
    unsigned long ul = 0;
    int i = 0;
    unsigned int ui = 0;
    short sh = 0;
    unsigned short us = 0;
    double d = 0;
    float f = 0;
    reader >> l >> ul >> i >> ui >> sh >> us >> d >> f;
    // A text that is a plain decimal number reads as that number.
    char* end = nullptr;
    const long parsed = std::strtol(row.s.c_str(), &end, 10);
    if (!row.s.empty() && end == row.s.c_str() + row.s.size() && std::to_string(parsed) == row.s) {
        VORN_FUZZ_CHECK(l == parsed);
        VORN_FUZZ_CHECK(d == static_cast<double>(parsed));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool opened = [] {
        openStore();
        return true;
    }();
    (void)opened;
    FuzzedDataProvider in(data, size);
    Row row;
    row.l = in.ConsumeIntegral<long>();
    row.ul = in.ConsumeIntegral<unsigned long>();
    row.d = vorn::fuzz::fromBits<double>(in.ConsumeIntegral<std::uint64_t>());
    row.f = vorn::fuzz::fromBits<float>(in.ConsumeIntegral<std::uint32_t>());
    row.s = in.ConsumeRemainingBytesAsString();

    CVORN* db = nullptr;
    GuardDB guard("FuzzDB", db, false);
    store(db, row);
    CVORNReader reader;
    VORN_FUZZ_CHECK(db->execReadSQL(CVORNsqlstr(), reader) != 0);  // an empty statement is refused
    reader.clear();
    CVORNsqlstr read;
    read.assign("select l, ul, l, l, d, d, f, s, s, s, s, s, s, s, s, s, s from t");
    VORN_FUZZ_CHECK(db->execReadSQL(read, reader) == 0);
    VORN_FUZZ_CHECK(reader.hasNextElement());
    checkNumbers(reader, row);
    checkText(reader, row);
    VORN_FUZZ_CHECK(!reader.hasNextElement());
    return 0;
}

#pragma once

#include <sqlite3.h>

#include <string>

#include "vorn/platform/data_access.h"

namespace vorn::dal {

class BatchParameters;

// Runs a batch on one SQLite connection: the "{key}" placeholders become ?N
// parameters of one prepared statement, stepped once per row inside a
// savepoint. The savepoint nests in the caller's transaction when one is open
// and is a transaction of its own otherwise; on failure it is rolled back, so
// no row of the batch remains.
//
// Binding: strings as text with their length, signed 64-bit integers as they
// are, unsigned ones as the signed integer of the same 64 bits (values above
// INT64_MAX read back as negative decimals), floats as the double of their
// value, doubles as they are.
class SqliteBatchWriter {
  public:
    explicit SqliteBatchWriter(sqlite3* db) noexcept : m_db(db) {}

    platform::ExecResult run(const std::string& sql, const BatchParameters& parameters);

  private:
    sqlite3* m_db;
};

}  // namespace vorn::dal

#pragma once

#include <string>

#include "exec/dal/mariadb/statement.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

class BatchParameters;

// Runs a batch on one MariaDB connection: the "{key}" placeholders become '?'
// markers of one prepared statement, executed with the connector's array
// binding (STMT_ATTR_ARRAY_SIZE: column-wise arrays, up to kChunkRows rows
// per bulk execution, one round trip each), inside a savepoint when the
// caller's transaction is open and in a transaction of its own otherwise; on
// failure it is rolled back, so no row of the batch remains.
//
// Binding: strings with their length, signed 64-bit integers as they are,
// unsigned ones as the signed integer of the same 64 bits, floats as the
// double of their value, doubles as they are.
class MariadbBatchWriter {
  public:
    static constexpr std::size_t kChunkRows = 8192;

    MariadbBatchWriter(MariadbLink& link, bool inTransaction) noexcept
        : m_link(link), m_inTransaction(inTransaction) {}

    platform::ExecResult run(const std::string& sql, const BatchParameters& parameters);

  private:
    MariadbLink& m_link;
    bool m_inTransaction;
};

}  // namespace vorn::dal

#pragma once

#include <libpq-fe.h>

#include <map>
#include <string>
#include <vector>

#include "exec/dal/batch_parameters.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

class PgLink;

// Runs batches on one PostgreSQL connection, in one round trip per batch and
// atomically: inside the caller's transaction in a savepoint, otherwise in a
// transaction of its own, so a failing row leaves no row of the batch behind.
//
// The "{key}" placeholders become $n parameters, whose types the server infers
// (the statement is prepared and described once per connection and text).
// Then, by the statement's shape (see PgInsertRewrite):
//   - INSERT INTO t (columns) VALUES ({a}, {b}, ...), each value a bare
//     placeholder, into an ordinary or partitioned table without rules,
//     row-level security or GENERATED ALWAYS identity columns (where COPY
//     would behave otherwise than INSERT): COPY t (columns) FROM STDIN, the
//     fastest way into PostgreSQL, with the same types and checks;
//   - any other one-row INSERT ... VALUES: rewritten to insert from unnest()
//     of one array per parameter, sent in chunks of up to 65536 rows or about
//     8 MiB of array text, all in one pipeline;
//   - anything else: one prepared statement per row, all rows pipelined.
// Values travel as text (see pgValueText); a text holding a NUL byte is
// refused with SQLSTATE 22021, since PostgreSQL text cannot hold one.
class PgBatchWriter {
  public:
    explicit PgBatchWriter(PgLink& link) noexcept : m_link(link) {}

    platform::ExecResult run(const std::string& sql, const BatchParameters& parameters);

  private:
    struct Plan {
        std::vector<Oid> types;              // of each parameter, as the server inferred them
        std::vector<Oid> arrayTypes;         // their array types
        std::string copySql;                 // empty: no COPY
        std::vector<std::size_t> copyOrder;  // parameter of each COPY column
        std::string unnestSql;               // empty: no unnest() form
    };

    platform::ExecResult plan(const std::string& text, const Plan*& out);
    platform::ExecResult describe(const std::string& text, Plan& plan);
    platform::ExecResult lookUpArrayTypes(const std::vector<Oid>& types, const std::string& text);
    platform::ExecResult copyAllowed(const std::string& relation, const std::string& text,
                                     bool& allowed);
    platform::ExecResult runCopy(const Plan& plan, const std::string& sql,
                                 const BatchParameters& parameters,
                                 const std::vector<const BatchColumn*>& bound);
    platform::ExecResult runUnnest(const Plan& plan, const std::string& sql,
                                   const BatchParameters& parameters,
                                   const std::vector<const BatchColumn*>& bound);
    platform::ExecResult runRows(const std::string& text, const Plan& plan, const std::string& sql,
                                 const BatchParameters& parameters,
                                 const std::vector<const BatchColumn*>& bound);

    PgLink& m_link;
    std::map<std::string, Plan> m_plans;
    std::map<Oid, Oid> m_arrayTypes;
};

}  // namespace vorn::dal

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
// A one-row INSERT ... VALUES is then rewritten to insert from unnest() of one
// array per parameter (see PgInsertRewrite), sent in chunks of up to 65536
// rows or about 8 MiB of array text; anything else runs as one prepared
// statement per row, all rows pipelined. Values travel as text (see
// pgValueText); a text holding a NUL byte is refused with SQLSTATE 22021,
// since PostgreSQL text cannot hold one.
class PgBatchWriter {
  public:
    explicit PgBatchWriter(PgLink& link) noexcept : m_link(link) {}

    platform::ExecResult run(const std::string& sql, const BatchParameters& parameters);

  private:
    struct Plan {
        std::vector<Oid> types;       // of each parameter, as the server inferred them
        std::vector<Oid> arrayTypes;  // their array types
        std::string unnestSql;        // empty: run row by row
    };

    platform::ExecResult plan(const std::string& text, const Plan*& out);
    platform::ExecResult describe(const std::string& text, Plan& plan);
    platform::ExecResult lookUpArrayTypes(const std::vector<Oid>& types, const std::string& text);
    platform::ExecResult runUnnest(const Plan& plan, const std::string& sql,
                                   const BatchParameters& parameters,
                                   const std::vector<const BatchColumn*>& bound);
    platform::ExecResult runRows(const std::string& text, const Plan& plan,
                                 const std::string& sql, const BatchParameters& parameters,
                                 const std::vector<const BatchColumn*>& bound);

    PgLink& m_link;
    std::map<std::string, Plan> m_plans;
    std::map<Oid, Oid> m_arrayTypes;
};

}  // namespace vorn::dal

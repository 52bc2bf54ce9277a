#pragma once

#include <memory>
#include <string>
#include <vector>

#include "exec/dal/batch_parameters.h"
#include "exec/dal/postgresql/batch_plan.h"
#include "exec/dal/postgresql/gates.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

// Runs batches on one PostgreSQL connection, in one round trip per batch and
// atomically: inside the caller's transaction in a savepoint, otherwise in a
// transaction of its own, so a failing row leaves no row of the batch behind.
// It works through the link alone; the connection settles the link first.
//
// The "{key}" placeholders become $n parameters, whose types the server infers
// (the statement is prepared and described once per connection and text, see
// PgBatchPlanner). Then, by the statement's shape (see PgInsertRewrite):
//   - INSERT INTO t (columns) VALUES ({a}, {b}, ...), each value a bare
//     placeholder, into an ordinary or partitioned table without rules,
//     row-level security or GENERATED ALWAYS identity columns (where COPY
//     would behave otherwise than INSERT): COPY t (columns) FROM STDIN, the
//     fastest way into PostgreSQL, with the same types and checks;
//   - any other one-row INSERT ... VALUES: rewritten to insert from unnest()
//     of one array per parameter, sent in chunks of up to 65536 rows or about
//     8 MiB of array text, all in one pipeline;
//   - anything else: one prepared statement per row, all rows pipelined.
// Values travel as text (see pgValueText).
class PgBatchWriter {
  public:
    explicit PgBatchWriter(const std::shared_ptr<PgLink>& link) : m_link(link), m_planner(link) {}

    platform::ExecResult run(const std::string& sql, const BatchParameters& parameters);

  private:
    // One batch on its way: the caller's statement, its columns and plan.
    struct Job {
        const std::string& sql;
        const BatchParameters& parameters;
        const std::vector<const BatchColumn*>& bound;
        const PgBatchPlan& plan;
        std::vector<bool> realTargets;  // per parameter: a real (float4) column
    };

    platform::ExecResult runCopy(const Job& job);
    platform::ExecResult runUnnest(const Job& job);
    platform::ExecResult runRows(const std::string& text, const Job& job);

    PgBatchGate m_link;
    PgBatchPlanner m_planner;
};

}  // namespace vorn::dal

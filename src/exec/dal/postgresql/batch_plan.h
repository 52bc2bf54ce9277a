#pragma once

#include <libpq-fe.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "exec/dal/postgresql/function_ref.h"
#include "exec/dal/postgresql/gates.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

class PgPipeline;

// How one batch statement goes to the server (see PgBatchWriter).
struct PgBatchPlan {
    std::vector<Oid> types;              // of each parameter, as the server inferred them
    std::vector<Oid> arrayTypes;         // their array types (0: none)
    std::string copySql;                 // empty: no COPY
    std::vector<std::size_t> copyOrder;  // parameter of each COPY column
    std::string unnestSql;               // empty: no unnest() form
};

// Makes and keeps the plans of one connection's batches, by statement text:
// the statement is prepared and described so that the server infers its
// parameters' types, and the catalog tells the array type of each and
// whether COPY may stand in for the INSERT.
class PgBatchPlanner {
  public:
    explicit PgBatchPlanner(std::shared_ptr<PgLink> link) noexcept : m_link(std::move(link)) {}

    bool has(const std::string& text) const { return m_plans.count(text) != 0; }
    // The plan of text, made now if it is not kept yet.
    platform::ExecResult plan(const std::string& text, const PgBatchPlan*& out);
    // Forgets a plan that has gone stale (the table was altered or recreated).
    void forget(const std::string& text) { m_plans.erase(text); }

  private:
    using Send = PgFunctionRef<std::size_t(PgPipeline&)>;
    using Read = PgFunctionRef<void(const PGresult*)>;

    // Sends one command whose result read() sees; text is the batch's
    // statement, for the error.
    platform::ExecResult ask(Send send, Read read, const std::string& text);
    platform::ExecResult describe(const std::string& text, PgBatchPlan& plan);
    platform::ExecResult lookUpArrayTypes(const std::vector<Oid>& types, const std::string& text);
    platform::ExecResult copyAllowed(const std::string& relation, const std::string& text,
                                     bool& allowed);
    platform::ExecResult chooseForms(const std::string& text, PgBatchPlan& plan);

    PgPlannerGate m_link;
    std::map<std::string, PgBatchPlan> m_plans;
    std::map<Oid, Oid> m_arrayTypes;
};

}  // namespace vorn::dal

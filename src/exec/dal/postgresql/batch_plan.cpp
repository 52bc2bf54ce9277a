#include "exec/dal/postgresql/batch_plan.h"

#include <cstdlib>
#include <cstring>

#include "exec/dal/postgresql/insert_rewrite.h"
#include "exec/dal/postgresql/pipeline.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;

constexpr Oid kBoxOid = 603;  // its arrays use ';' between elements
constexpr std::size_t kMaxPlans = 64;

// Where COPY would not do what INSERT does: other relation kinds (views,
// foreign tables), rules, row-level security (which COPY FROM refuses), and
// GENERATED ALWAYS identity columns (which INSERT protects).
constexpr const char* kCopyAllowedSql =
    "SELECT c.relkind IN ('r', 'p') AND NOT c.relhasrules AND NOT c.relrowsecurity"
    " AND NOT EXISTS (SELECT 1 FROM pg_catalog.pg_attribute a WHERE a.attrelid = c.oid"
    " AND a.attnum > 0 AND NOT a.attisdropped AND a.attidentity = 'a')"
    " FROM pg_catalog.pg_class c WHERE c.oid = pg_catalog.to_regclass($1)";

constexpr const char* kArrayTypesSql =
    "SELECT oid, typarray FROM pg_catalog.pg_type WHERE oid = ANY($1::pg_catalog.oid[])";

Oid oidAt(const PGresult* result, int row, int column) {
    return static_cast<Oid>(std::strtoul(PQgetvalue(result, row, column), nullptr, 10));
}

}  // namespace

ExecResult PgBatchPlanner::plan(const std::string& text, const PgBatchPlan*& out) {
    const auto found = m_plans.find(text);
    if (found != m_plans.end()) {
        out = &found->second;
        return {};
    }
    PgBatchPlan made;
    ExecResult status = describe(text, made);
    if (status.ok()) {
        status = lookUpArrayTypes(made.types, text);
    }
    if (status.ok()) {
        status = chooseForms(text, made);
    }
    if (!status.ok()) {
        return status;
    }
    if (m_plans.size() >= kMaxPlans) {
        m_plans.clear();
    }
    out = &m_plans.emplace(text, std::move(made)).first->second;
    return {};
}

// The unnest() form where every parameter type has an array type, and COPY
// where the statement and its table allow it.
ExecResult PgBatchPlanner::chooseForms(const std::string& text, PgBatchPlan& plan) {
    bool arrays = true;
    for (const Oid type : plan.types) {
        const Oid arrayType = m_arrayTypes[type];
        plan.arrayTypes.push_back(arrayType);
        arrays = arrays && arrayType != 0 && type != kBoxOid;
    }
    if (!arrays || !PgInsertRewrite::toUnnest(text, plan.types.size(), plan.unnestSql)) {
        plan.unnestSql.clear();
    }
    std::string relation;
    std::string columns;
    if (!PgInsertRewrite::toCopy(text, plan.types.size(), relation, columns, plan.copyOrder)) {
        return {};
    }
    bool allowed = false;
    ExecResult status = copyAllowed(relation, text, allowed);
    if (status.ok() && allowed) {
        plan.copySql = "COPY " + relation + " (" + columns + ") FROM STDIN";
    }
    return status;
}

ExecResult PgBatchPlanner::ask(Send send, Read read, const std::string& text) {
    std::size_t index = 0;
    return m_link.runUnit(
        m_link.unitScope(PgScope::None),
        [&](PgPipeline& p) {
            index = send(p);
            return ExecResult();
        },
        [&](PgPipeline& p) {
            const PgResult result = p.takeResult(index);
            if (result) {
                read(result.get());
            }
        },
        text);
}

// Prepares the statement so the server infers its parameters' types.
ExecResult PgBatchPlanner::describe(const std::string& text, PgBatchPlan& plan) {
    return ask(
        [&](PgPipeline& p) {
            p.prepare("", text);
            return p.describePrepared("");
        },
        [&](const PGresult* described) {
            for (int i = 0; i < PQnparams(described); ++i) {
                plan.types.push_back(PQparamtype(described, i));
            }
        },
        text);
}

ExecResult PgBatchPlanner::lookUpArrayTypes(const std::vector<Oid>& types,
                                            const std::string& text) {
    std::string wanted;
    for (const Oid type : types) {
        if (m_arrayTypes.count(type) == 0) {
            wanted.append(wanted.empty() ? "{" : ",");
            wanted.append(std::to_string(type));
        }
    }
    if (wanted.empty()) {
        return {};
    }
    wanted.push_back('}');
    const char* values[] = {wanted.c_str()};
    ExecResult status = ask(
        [&](PgPipeline& p) { return p.query(kArrayTypesSql, 1, nullptr, values, nullptr, true); },
        [&](const PGresult* found) {
            for (int row = 0; row < PQntuples(found); ++row) {
                m_arrayTypes[oidAt(found, row, 0)] = oidAt(found, row, 1);
            }
        },
        text);
    for (const Oid type : types) {
        m_arrayTypes.emplace(type, 0);  // unknown to the server: no array
    }
    return status;
}

ExecResult PgBatchPlanner::copyAllowed(const std::string& relation, const std::string& text,
                                       bool& allowed) {
    const char* values[] = {relation.c_str()};
    return ask(
        [&](PgPipeline& p) { return p.query(kCopyAllowedSql, 1, nullptr, values, nullptr, true); },
        [&](const PGresult* found) {
            allowed = PQntuples(found) == 1 && std::strcmp(PQgetvalue(found, 0, 0), "t") == 0;
        },
        text);
}

}  // namespace vorn::dal

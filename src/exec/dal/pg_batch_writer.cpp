#include "exec/dal/pg_batch_writer.h"

#include <cstring>

#include "exec/dal/pg_array_literal.h"
#include "exec/dal/pg_copy_stream.h"
#include "exec/dal/pg_errors.h"
#include "exec/dal/pg_insert_rewrite.h"
#include "exec/dal/pg_link.h"
#include "exec/dal/pg_pipeline.h"
#include "exec/dal/pg_statement_kind.h"
#include "exec/dal/pg_value_text.h"
#include "vorn/platform/error_codes.h"
#include "vorn/platform/type_registry.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;
namespace typecode = platform::typecode;

constexpr Oid kFloat4Oid = 700;
constexpr Oid kBoxOid = 603;  // its arrays use ';' between elements
constexpr std::size_t kChunkRows = 65536;
constexpr std::size_t kChunkBytes = std::size_t{8} * 1024 * 1024;
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

struct ValueBuffer {
    char text[kPgValueBuffer];
};

ExecResult columnEnded() {
    return ExecResult::failure(platform::errc::kBadParameters,
                               "batch column ended before its count");
}

ExecResult nulInText() {
    return pgFailure("22021", "a batch text holds a NUL byte, which PostgreSQL text cannot store");
}

bool holdsNul(const std::string& text) {
    return text.find('\0') != std::string::npos;
}

std::vector<bool> realTargets(const std::vector<Oid>& types, std::size_t columns) {
    std::vector<bool> real(columns, false);
    for (std::size_t i = 0; i < columns && i < types.size(); ++i) {
        real[i] = types[i] == kFloat4Oid;
    }
    return real;
}

bool isDefinitionError(std::uint64_t code) {
    return platform::sqlstateFromCode(code).compare(0, 2, "42") == 0;
}

}  // namespace

ExecResult PgBatchWriter::run(const std::string& sql, const BatchParameters& parameters) {
    std::string text;
    std::vector<const BatchColumn*> bound;
    ExecResult status = parameters.bindPlaceholders(sql, '$', text, bound);
    if (!status.ok()) {
        return status;
    }
    if (classifyPgStatement(text) == PgStatementKind::CopyStream) {
        return pgFailure(pgstate::kFeatureNotSupported, "a batch cannot run COPY");
    }
    status = m_link.prepareWrite();
    if (!status.ok()) {
        return status;
    }
    // A plan kept from an earlier batch may have gone stale (the table was
    // altered or recreated): then it is made afresh and the batch tried once
    // more, which is safe since the failed attempt left nothing behind.
    for (int attempt = 0; attempt < 2; ++attempt) {
        const bool cached = m_plans.count(text) != 0;
        const Plan* chosen = nullptr;
        status = plan(text, chosen);
        if (!status.ok() || parameters.rows() == 0) {
            return status;  // an empty batch still has its statement checked
        }
        if (!chosen->copySql.empty()) {
            status = runCopy(*chosen, sql, parameters, bound);
        } else if (!chosen->unnestSql.empty()) {
            status = runUnnest(*chosen, sql, parameters, bound);
        } else {
            status = runRows(text, *chosen, sql, parameters, bound);
        }
        if (status.ok() || !cached || m_link.broken() || !isDefinitionError(status.errorCode())) {
            return status;
        }
        m_plans.erase(text);
    }
    return status;
}

ExecResult PgBatchWriter::plan(const std::string& text, const Plan*& out) {
    const auto found = m_plans.find(text);
    if (found != m_plans.end()) {
        out = &found->second;
        return {};
    }
    Plan made;
    ExecResult status = describe(text, made);
    if (!status.ok()) {
        return status;
    }
    status = lookUpArrayTypes(made.types, text);
    if (!status.ok()) {
        return status;
    }
    bool arrays = true;
    for (const Oid type : made.types) {
        const Oid arrayType = m_arrayTypes[type];
        made.arrayTypes.push_back(arrayType);
        arrays = arrays && arrayType != 0 && type != kBoxOid;
    }
    if (!arrays || !PgInsertRewrite::toUnnest(text, made.types.size(), made.unnestSql)) {
        made.unnestSql.clear();
    }
    std::string relation;
    std::string columns;
    if (PgInsertRewrite::toCopy(text, made.types.size(), relation, columns, made.copyOrder)) {
        bool allowed = false;
        status = copyAllowed(relation, text, allowed);
        if (!status.ok()) {
            return status;
        }
        if (allowed) {
            made.copySql = "COPY " + relation + " (" + columns + ") FROM STDIN";
        }
    }
    if (m_plans.size() >= kMaxPlans) {
        m_plans.clear();
    }
    out = &m_plans.emplace(text, std::move(made)).first->second;
    return {};
}

// Prepares the statement so the server infers its parameters' types.
ExecResult PgBatchWriter::describe(const std::string& text, Plan& plan) {
    std::size_t index = 0;
    return m_link.runUnit(
        m_link.callerTransactionOpen() ? PgAtomicity::Savepoint : PgAtomicity::None,
        [&](PgPipeline& p) {
            p.prepare("", text);
            index = p.describePrepared("");
            return ExecResult();
        },
        [&](PgPipeline& p) {
            const PgResult described = p.takeResult(index);
            const int count = described ? PQnparams(described.get()) : 0;
            for (int i = 0; i < count; ++i) {
                plan.types.push_back(PQparamtype(described.get(), i));
            }
        },
        text);
}

ExecResult PgBatchWriter::lookUpArrayTypes(const std::vector<Oid>& types, const std::string& text) {
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
    std::size_t index = 0;
    const char* values[] = {wanted.c_str()};
    ExecResult status = m_link.runUnit(
        m_link.callerTransactionOpen() ? PgAtomicity::Savepoint : PgAtomicity::None,
        [&](PgPipeline& p) {
            index = p.query(kArrayTypesSql, 1, nullptr, values, nullptr, true);
            return ExecResult();
        },
        [&](PgPipeline& p) {
            const PgResult found = p.takeResult(index);
            for (int row = 0; found && row < PQntuples(found.get()); ++row) {
                const Oid type =
                    static_cast<Oid>(std::strtoul(PQgetvalue(found.get(), row, 0), nullptr, 10));
                m_arrayTypes[type] =
                    static_cast<Oid>(std::strtoul(PQgetvalue(found.get(), row, 1), nullptr, 10));
            }
        },
        text);
    for (const Oid type : types) {
        m_arrayTypes.emplace(type, 0);  // unknown to the server: no array
    }
    return status;
}

ExecResult PgBatchWriter::copyAllowed(const std::string& relation, const std::string& text,
                                      bool& allowed) {
    std::size_t index = 0;
    const char* values[] = {relation.c_str()};
    return m_link.runUnit(
        m_link.callerTransactionOpen() ? PgAtomicity::Savepoint : PgAtomicity::None,
        [&](PgPipeline& p) {
            index = p.query(kCopyAllowedSql, 1, nullptr, values, nullptr, true);
            return ExecResult();
        },
        [&](PgPipeline& p) {
            const PgResult found = p.takeResult(index);
            allowed = found && PQntuples(found.get()) == 1 &&
                      std::strcmp(PQgetvalue(found.get(), 0, 0), "t") == 0;
        },
        text);
}

ExecResult PgBatchWriter::runCopy(const Plan& plan, const std::string& sql,
                                  const BatchParameters& parameters,
                                  const std::vector<const BatchColumn*>& bound) {
    const std::vector<bool> real = realTargets(plan.types, bound.size());
    return m_link.runCopy(
        plan.copySql,
        [&](PgCopyStream& stream) {
            BatchRowWalker walker(bound);
            ValueBuffer buffer;
            for (std::size_t row = 0; row < parameters.rows(); ++row) {
                for (const std::size_t param : plan.copyOrder) {
                    const void* element = walker.element(param);
                    if (element == nullptr) {
                        return columnEnded();
                    }
                    if (bound[param]->elementCode == typecode::kString) {
                        const auto& text = *static_cast<const std::string*>(element);
                        if (holdsNul(text)) {
                            return nulInText();
                        }
                        stream.text(text);
                    } else {
                        stream.plain(pgValueText(bound[param]->elementCode, element, real[param],
                                                 buffer.text));
                    }
                }
                stream.endRow();
                walker.next();
            }
            return ExecResult();
        },
        sql);
}

ExecResult PgBatchWriter::runUnnest(const Plan& plan, const std::string& sql,
                                    const BatchParameters& parameters,
                                    const std::vector<const BatchColumn*>& bound) {
    const std::size_t columns = bound.size();
    const std::vector<bool> real = realTargets(plan.types, columns);
    std::vector<PgArrayLiteral> literals(columns);
    std::vector<const char*> values(columns);
    std::vector<int> lengths(columns);
    return m_link.runUnit(
        m_link.callerTransactionOpen() ? PgAtomicity::Savepoint : PgAtomicity::Transaction,
        [&](PgPipeline& p) {
            BatchRowWalker walker(bound);
            ValueBuffer buffer;
            std::size_t row = 0;
            while (row < parameters.rows()) {
                for (PgArrayLiteral& literal : literals) {
                    literal.start();
                }
                std::size_t chunkRows = 0;
                std::size_t chunkBytes = 0;
                while (row < parameters.rows() && chunkRows < kChunkRows &&
                       chunkBytes < kChunkBytes) {
                    chunkBytes = 0;
                    for (std::size_t i = 0; i < columns; ++i) {
                        const void* element = walker.element(i);
                        if (element == nullptr) {
                            return columnEnded();
                        }
                        if (bound[i]->elementCode == typecode::kString) {
                            const auto& text = *static_cast<const std::string*>(element);
                            if (holdsNul(text)) {
                                return nulInText();
                            }
                            literals[i].appendText(text);
                        } else {
                            literals[i].appendNumber(
                                pgValueText(bound[i]->elementCode, element, real[i], buffer.text));
                        }
                        chunkBytes += literals[i].size();
                    }
                    walker.next();
                    ++row;
                    ++chunkRows;
                }
                for (std::size_t i = 0; i < columns; ++i) {
                    const std::string& text = literals[i].finish();
                    values[i] = text.c_str();
                    lengths[i] = static_cast<int>(text.size());
                }
                p.query(plan.unnestSql, static_cast<int>(columns), plan.arrayTypes.data(),
                        values.data(), lengths.data());
            }
            return ExecResult();
        },
        nullptr, sql);
}

ExecResult PgBatchWriter::runRows(const std::string& text, const Plan& plan, const std::string& sql,
                                  const BatchParameters& parameters,
                                  const std::vector<const BatchColumn*>& bound) {
    const std::size_t columns = bound.size();
    const std::vector<bool> real = realTargets(plan.types, columns);
    std::vector<ValueBuffer> buffers(columns);
    std::vector<const char*> values(columns);
    std::vector<int> lengths(columns);
    return m_link.runUnit(
        m_link.callerTransactionOpen() ? PgAtomicity::Savepoint : PgAtomicity::Transaction,
        [&](PgPipeline& p) {
            p.prepare("", text);
            BatchRowWalker walker(bound);
            for (std::size_t row = 0; row < parameters.rows(); ++row) {
                for (std::size_t i = 0; i < columns; ++i) {
                    const void* element = walker.element(i);
                    if (element == nullptr) {
                        return columnEnded();
                    }
                    if (bound[i]->elementCode == typecode::kString) {
                        const auto& value = *static_cast<const std::string*>(element);
                        if (holdsNul(value)) {
                            return nulInText();
                        }
                        values[i] = value.c_str();
                        lengths[i] = static_cast<int>(value.size());
                    } else {
                        const std::string_view value =
                            pgValueText(bound[i]->elementCode, element, real[i], buffers[i].text);
                        values[i] = value.data();
                        lengths[i] = static_cast<int>(value.size());
                    }
                }
                p.queryPrepared("", static_cast<int>(columns), values.data(), lengths.data());
                walker.next();
            }
            return ExecResult();
        },
        nullptr, sql);
}

}  // namespace vorn::dal

#include "exec/dal/postgresql/batch_writer.h"

#include "exec/dal/postgresql/array_literal.h"
#include "exec/dal/postgresql/copy_stream.h"
#include "exec/dal/postgresql/errors.h"
#include "exec/dal/postgresql/pipeline.h"
#include "exec/dal/postgresql/statement_kind.h"
#include "exec/dal/postgresql/value_text.h"
#include "exec/platform/type_registry.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;
namespace typecode = platform::typecode;

constexpr Oid kFloat4Oid = 700;
constexpr std::size_t kChunkRows = 65536;
constexpr std::size_t kChunkBytes = std::size_t{8} * 1024 * 1024;

struct ValueBuffer {
    char text[kPgValueBuffer];
};

std::vector<bool> realTargets(const std::vector<Oid>& types, std::size_t columns) {
    std::vector<bool> real(columns, false);
    for (std::size_t i = 0; i < columns && i < types.size(); ++i) {
        real[i] = types[i] == kFloat4Oid;
    }
    return real;
}

// Puts one value into a COPY row or an array literal: texts escaped as the
// sink escapes them, numbers as they are.
template <typename Sink>
ExecResult put(Sink& sink, const BatchValue& value, bool realTarget, ValueBuffer& buffer) {
    std::string_view text;
    ExecResult status = pgValueText(value, realTarget, buffer.text, text);
    if (!status.ok()) {
        return status;
    }
    if (value.code == typecode::kString) {
        sink.text(text);
    } else {
        sink.plain(text);
    }
    return status;
}

bool isDefinitionError(std::uint64_t code) {
    return platform::sqlstateFromCode(code).compare(0, 2, "42") == 0;
}

}  // namespace

ExecResult PgBatchWriter::run(const std::string& sql, const BatchParameters& parameters) {
    std::string text;
    std::vector<const BatchColumn*> bound;
    ExecResult status = parameters.bindPlaceholders(sql, kPostgresDialect, '$', text, bound);
    if (!status.ok()) {
        return status;
    }
    if (classifyPgStatement(text) == PgStatementKind::CopyStream) {
        return pgFailure(pgstate::kFeatureNotSupported, "a batch cannot run COPY");
    }
    // A plan kept from an earlier batch may have gone stale (the table was
    // altered or recreated): then it is made afresh and the batch tried once
    // more, which is safe since the failed attempt left nothing behind.
    for (int attempt = 0; attempt < 2; ++attempt) {
        const bool cached = m_planner.has(text);
        const PgBatchPlan* plan = nullptr;
        status = m_planner.plan(text, plan);
        if (!status.ok() || parameters.rows() == 0) {
            return status;  // an empty batch still has its statement checked
        }
        const Job job{sql, parameters, bound, *plan, realTargets(plan->types, bound.size())};
        if (!plan->copySql.empty()) {
            status = runCopy(job);
        } else if (!plan->unnestSql.empty()) {
            status = runUnnest(job);
        } else {
            status = runRows(text, job);
        }
        if (status.ok() || !cached || m_link.broken() || !isDefinitionError(status.errorCode())) {
            return status;
        }
        m_planner.forget(text);
    }
    return status;
}

ExecResult PgBatchWriter::runCopy(const Job& job) {
    return m_link.runCopy(
        job.plan.copySql,
        [&](PgCopyStream& stream) {
            ValueBuffer buffer;
            return job.parameters.forEachRow(
                job.bound, job.plan.copyOrder,
                [&](std::size_t parameter, const BatchValue& value) {
                    return put(stream, value, job.realTargets[parameter], buffer);
                },
                [&](std::size_t /*row*/) {
                    stream.endRow();
                    return ExecResult();
                });
        },
        job.sql);
}

ExecResult PgBatchWriter::runUnnest(const Job& job) {
    const std::size_t columns = job.bound.size();
    std::vector<PgArrayLiteral> literals(columns);
    std::vector<const char*> values(columns);
    std::vector<int> lengths(columns);
    for (PgArrayLiteral& literal : literals) {
        literal.start();
    }
    std::size_t chunkRows = 0;
    // Sends the rows gathered so far as one INSERT from arrays.
    const auto sendChunk = [&](PgPipeline& p) {
        for (std::size_t i = 0; i < columns; ++i) {
            const std::string& text = literals[i].finish();
            values[i] = text.c_str();
            lengths[i] = static_cast<int>(text.size());
        }
        p.query(job.plan.unnestSql, static_cast<int>(columns), job.plan.arrayTypes.data(),
                values.data(), lengths.data());
        for (PgArrayLiteral& literal : literals) {
            literal.start();
        }
        chunkRows = 0;
    };
    return m_link.runUnit(
        m_link.unitScope(PgScope::Transaction),
        [&](PgPipeline& p) {
            ValueBuffer buffer;
            return job.parameters.forEachRow(
                job.bound,
                [&](std::size_t parameter, const BatchValue& value) {
                    return put(literals[parameter], value, job.realTargets[parameter], buffer);
                },
                [&](std::size_t row) {
                    std::size_t bytes = 0;
                    for (const PgArrayLiteral& literal : literals) {
                        bytes += literal.size();
                    }
                    if (++chunkRows >= kChunkRows || bytes >= kChunkBytes ||
                        row + 1 == job.parameters.rows()) {
                        sendChunk(p);
                    }
                    return ExecResult();
                });
        },
        nullptr, job.sql);
}

ExecResult PgBatchWriter::runRows(const std::string& text, const Job& job) {
    const std::size_t columns = job.bound.size();
    std::vector<ValueBuffer> buffers(columns);
    std::vector<const char*> values(columns);
    std::vector<int> lengths(columns);
    return m_link.runUnit(
        m_link.unitScope(PgScope::Transaction),
        [&](PgPipeline& p) {
            p.prepare("", text);
            return job.parameters.forEachRow(
                job.bound,
                [&](std::size_t parameter, const BatchValue& value) {
                    std::string_view valueText;
                    ExecResult status = pgValueText(value, job.realTargets[parameter],
                                                    buffers[parameter].text, valueText);
                    values[parameter] = valueText.data();
                    lengths[parameter] = static_cast<int>(valueText.size());
                    return status;
                },
                [&](std::size_t /*row*/) {
                    p.queryPrepared("", static_cast<int>(columns), values.data(), lengths.data());
                    return ExecResult();
                });
        },
        nullptr, job.sql);
}

}  // namespace vorn::dal

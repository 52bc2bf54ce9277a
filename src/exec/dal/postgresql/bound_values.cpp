#include "exec/dal/postgresql/bound_values.h"

#include "exec/dal/postgresql/statement_kind.h"

namespace vorn::dal {

using platform::ExecResult;

ExecResult PgBoundValues::prepare(const std::string& sql,
                                  const platform::BoundParameters& parameters) {
    ExecResult status = makeBoundText(sql, kPostgresDialect, '$', m_bound);
    if (!status.ok()) {
        return status;
    }
    // Sized once: the values point into the buffers.
    const std::size_t count = m_bound.names.size();
    m_buffers.resize(count);
    m_values.assign(count, nullptr);
    m_lengths.assign(count, 0);
    return forEachBoundValue(
        m_bound.names, parameters, [this](std::size_t i, const platform::BoundParameter& p) {
            const BatchValue value = batchValueOf(p.value);
            if (value.code == kNullValue) {
                return ExecResult();
            }
            std::string_view text;
            ExecResult converted = pgValueText(value, false, m_buffers[i].bytes, text);
            m_values[i] = text.data();
            m_lengths[i] = static_cast<int>(text.size());
            return converted;
        });
}

}  // namespace vorn::dal

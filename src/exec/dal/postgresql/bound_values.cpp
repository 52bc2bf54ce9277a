#include "exec/dal/postgresql/bound_values.h"

#include "exec/dal/postgresql/statement_kind.h"

namespace vorn::dal {

using platform::ExecResult;

ExecResult PgBoundValues::prepare(const std::string& sql,
                                  const platform::BoundParameters& parameters) {
    ExecResult status = makeBoundText(sql, kPostgresDialect, '$', m_bound);
    std::vector<std::size_t> order;
    if (status.ok()) {
        status = matchParameters(m_bound.names, parameters, order);
    }
    if (!status.ok()) {
        return status;
    }
    // Sized once: the values point into the buffers.
    m_buffers.resize(order.size());
    m_values.assign(order.size(), nullptr);
    m_lengths.assign(order.size(), 0);
    for (std::size_t i = 0; i < order.size(); ++i) {
        const BatchValue value = batchValueOf(parameters[order[i]].value);
        if (value.code == kNullValue) {
            continue;
        }
        std::string_view text;
        status = pgValueText(value, false, m_buffers[i].bytes, text);
        if (!status.ok()) {
            return status;
        }
        m_values[i] = text.data();
        m_lengths[i] = static_cast<int>(text.size());
    }
    return status;
}

}  // namespace vorn::dal

#include "exec/dal/batch_parameters.h"

#include <algorithm>

#include "exec/dal/placeholders.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;
namespace errc = platform::errc;
namespace typecode = platform::typecode;

bool isSupportedElement(std::uint32_t code) {
    return code == typecode::kString || code == typecode::kInt64 || code == typecode::kUInt64 ||
           code == typecode::kFloat || code == typecode::kDouble;
}

ExecResult badColumn(const std::string& key, const char* problem) {
    return ExecResult::failure(errc::kBadParameters, "batch column \"" + key + "\": " + problem);
}

}  // namespace

ExecResult BatchParameters::collect(const platform::TypedRef& parameters, BatchParameters& out) {
    out.m_columns.clear();
    out.m_rows = 0;
    if (parameters.type.code != typecode::kParamMap || parameters.object == nullptr) {
        return ExecResult::failure(errc::kBadParameters,
                                   "batch parameters must refer to a parameter map (type code " +
                                       std::to_string(typecode::kParamMap) + ")");
    }
    const auto& map = *static_cast<const platform::ParamRefMap*>(parameters.object);
    if (map.empty()) {
        return ExecResult::failure(errc::kBadParameters, "batch parameter map has no columns");
    }
    out.m_columns.reserve(map.size());
    for (const auto& [key, ref] : map) {
        const platform::ContainerRecord* record = ref.type.record;
        if (ref.type.code != typecode::kContainer || record == nullptr || ref.object == nullptr) {
            return badColumn(key, "not a container reference");
        }
        if (!isSupportedElement(record->elementCode) || record->count == nullptr ||
            record->first == nullptr || record->elementStride == 0) {
            return badColumn(key, "unsupported element type");
        }
        const std::size_t count = record->count(ref.object);
        if (out.m_columns.empty()) {
            out.m_rows = count;
        } else if (count != out.m_rows) {
            return badColumn(key, "column lengths differ");
        }
        out.m_columns.push_back(BatchColumn{key, record, ref.object, record->elementCode});
    }
    return {};
}

const BatchColumn* BatchParameters::find(std::string_view key) const {
    // The columns come from an ordered map, so they are sorted by key.
    const auto it = std::lower_bound(
        m_columns.begin(), m_columns.end(), key,
        [](const BatchColumn& column, std::string_view k) { return column.key < k; });
    return it != m_columns.end() && it->key == key ? &*it : nullptr;
}

ExecResult BatchParameters::bindPlaceholders(const std::string& sql, const SqlDialect& dialect,
                                             char marker, std::string& text,
                                             std::vector<const BatchColumn*>& bound,
                                             MarkerStyle style,
                                             std::vector<std::size_t>* order) const {
    bound.clear();
    if (order != nullptr) {
        order->clear();
    }
    return rewritePlaceholders(
        sql, dialect, marker, PlaceholderRule::Batch,
        [this, &bound, order](std::string_view key, ExecResult& status) -> std::size_t {
            const BatchColumn* column = find(key);
            if (column == nullptr) {
                status =
                    ExecResult::failure(errc::kUnknownPlaceholder,
                                        "placeholder {" + std::string(key) + "} names no column");
                return 0;
            }
            auto slot = std::find(bound.begin(), bound.end(), column);
            if (slot == bound.end()) {
                bound.push_back(column);
                slot = bound.end() - 1;
            }
            const auto index = static_cast<std::size_t>(slot - bound.begin());
            if (order != nullptr) {
                order->push_back(index);
            }
            return index + 1;
        },
        text, style);
}

ExecResult batchColumnEnded() {
    return ExecResult::failure(errc::kBadParameters, "batch column ended before its count");
}

BatchRowWalker::BatchRowWalker(const std::vector<const BatchColumn*>& columns) {
    m_columns.reserve(columns.size());
    for (const BatchColumn* column : columns) {
        const platform::ContainerRecord& record = *column->record;
        const auto* first = static_cast<const char*>(record.first(column->container));
        const std::size_t count = first == nullptr ? 0 : record.count(column->container);
        m_columns.push_back(
            Position{first, record.elementStride, first + count * record.elementStride});
    }
}

void BatchRowWalker::next() noexcept {
    for (Position& position : m_columns) {
        if (position.element != nullptr) {
            const char* following = position.element + position.stride;
            position.element = following < position.end ? following : nullptr;
        }
    }
}

}  // namespace vorn::dal

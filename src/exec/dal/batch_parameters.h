#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "exec/dal/sql_lexer.h"
#include "exec/platform/type_registry.h"
#include "vorn/platform/data_access.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {

// How a store's parameter markers look: a number after the marker ("?1",
// "$2"), a value per number however often it stands; or the marker alone
// ("?", MariaDB), a value per marker in the order the markers stand.
enum class MarkerStyle { Numbered, Plain };

// One column of a batch: a container reached only through its registry record.
struct BatchColumn {
    std::string_view key;
    const platform::ContainerRecord* record = nullptr;
    void* container = nullptr;
    std::uint32_t elementCode = 0;  // platform::typecode::kString, kInt64, ...
};

// The element code of a NULL value (a bound statement's; batches have none).
inline constexpr std::uint32_t kNullValue = 0;

// One value of a batch row: its column's element code and the element.
struct BatchValue {
    std::uint32_t code = 0;  // platform::typecode::kString, kInt64, ..., kNullValue
    const void* element = nullptr;

    template <typename T>
    const T& as() const noexcept {
        return *static_cast<const T*>(element);
    }
    const std::string& text() const noexcept { return as<std::string>(); }
};

// Walks the bound columns of a batch row by row, by pointer arithmetic over
// their contiguous elements.
class BatchRowWalker {
  public:
    explicit BatchRowWalker(const std::vector<const BatchColumn*>& columns);

    // The current row's element of bound column i (null past the end).
    const void* element(std::size_t i) const noexcept { return m_columns[i].element; }
    // Moves every column to its next element.
    void next() noexcept;

  private:
    struct Position {
        const char* element = nullptr;
        std::size_t stride = 0;     // the record's elementStride
        const char* end = nullptr;  // past the last element
    };
    std::vector<Position> m_columns;
};

// A batch's parameter set, checked and ready for a backend to bind: the
// columns in key order and the common row count.
class BatchParameters {
  public:
    // Reads a reference to a ParamRefMap (code 101) whose entries refer to
    // containers (code 61) of strings, signed or unsigned 64-bit integers,
    // floats or doubles, all with the same number of elements. Anything else
    // is refused with errc::kBadParameters.
    static platform::ExecResult collect(const platform::TypedRef& parameters, BatchParameters& out);

    std::size_t rows() const noexcept { return m_rows; }
    const std::vector<BatchColumn>& columns() const noexcept { return m_columns; }

    // Rewrites the "{key}" placeholders of sql that stand outside quoted text
    // and comments (as dialect quotes them) into marker + parameter number
    // ("?1", "$2", ...). Columns
    // are numbered in the order they first appear; bound receives them in that
    // order (parameter n is bound[n - 1]); a key used twice keeps its number.
    // A placeholder naming no column is refused with errc::kUnknownPlaceholder.
    // With MarkerStyle::Plain the markers go without numbers, and order
    // receives the parameter of each marker as they stand (for forEachRow).
    platform::ExecResult bindPlaceholders(const std::string& sql, const SqlDialect& dialect,
                                          char marker, std::string& text,
                                          std::vector<const BatchColumn*>& bound,
                                          MarkerStyle style = MarkerStyle::Numbered,
                                          std::vector<std::size_t>* order = nullptr) const;

    // The values of the bound columns, row by row: visit(parameter, value)
    // for each parameter (an index into bound) in order, then endRow(row).
    // Both return an ExecResult; the walk stops at the first failure and
    // returns it. A column that ends before the row count is refused with
    // errc::kBadParameters.
    template <typename Visit, typename EndRow>
    platform::ExecResult forEachRow(const std::vector<const BatchColumn*>& bound,
                                    const std::vector<std::size_t>& order, Visit&& visit,
                                    EndRow&& endRow) const;
    // The same with every bound parameter in turn.
    template <typename Visit, typename EndRow>
    platform::ExecResult forEachRow(const std::vector<const BatchColumn*>& bound, Visit&& visit,
                                    EndRow&& endRow) const;

  private:
    const BatchColumn* find(std::string_view key) const;

    std::vector<BatchColumn> m_columns;
    std::size_t m_rows = 0;
};

platform::ExecResult batchColumnEnded();

template <typename Visit, typename EndRow>
platform::ExecResult BatchParameters::forEachRow(const std::vector<const BatchColumn*>& bound,
                                                 const std::vector<std::size_t>& order,
                                                 Visit&& visit, EndRow&& endRow) const {
    BatchRowWalker walker(bound);
    for (std::size_t row = 0; row < m_rows; ++row) {
        for (const std::size_t parameter : order) {
            const void* element = walker.element(parameter);
            if (element == nullptr) {
                return batchColumnEnded();
            }
            platform::ExecResult status =
                visit(parameter, BatchValue{bound[parameter]->elementCode, element});
            if (!status.ok()) {
                return status;
            }
        }
        platform::ExecResult status = endRow(row);
        if (!status.ok()) {
            return status;
        }
        walker.next();
    }
    return {};
}

template <typename Visit, typename EndRow>
platform::ExecResult BatchParameters::forEachRow(const std::vector<const BatchColumn*>& bound,
                                                 Visit&& visit, EndRow&& endRow) const {
    std::vector<std::size_t> order(bound.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    return forEachRow(bound, order, std::forward<Visit>(visit), std::forward<EndRow>(endRow));
}

}  // namespace vorn::dal

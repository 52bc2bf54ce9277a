#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vorn/platform/data_access.h"
#include "vorn/platform/type_registry.h"

namespace vorn::dal {

// One column of a batch: a container reached only through its registry record.
struct BatchColumn {
    std::string_view key;
    const platform::ContainerRecord* record = nullptr;
    void* container = nullptr;
    std::uint32_t elementCode = 0;  // platform::typecode::kString, kInt64, ...
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
    // and comments into marker + parameter number ("?1", "$2", ...). Columns
    // are numbered in the order they first appear; bound receives them in that
    // order (parameter n is bound[n - 1]); a key used twice keeps its number.
    // A placeholder naming no column is refused with errc::kUnknownPlaceholder.
    platform::ExecResult bindPlaceholders(const std::string& sql, char marker, std::string& text,
                                          std::vector<const BatchColumn*>& bound) const;

  private:
    const BatchColumn* find(std::string_view key) const;

    std::vector<BatchColumn> m_columns;
    std::size_t m_rows = 0;
};

// Walks the bound columns of a batch row by row, through the element
// operations of their records.
class BatchRowWalker {
  public:
    explicit BatchRowWalker(const std::vector<const BatchColumn*>& columns);

    // The current row's element of bound column i (null past the end).
    const void* element(std::size_t i) const noexcept { return m_elements[i]; }
    // Moves every column to its next element.
    void next() noexcept;

  private:
    const std::vector<const BatchColumn*>& m_columns;
    std::vector<void*> m_elements;
};

}  // namespace vorn::dal

#pragma once

#include <string>
#include <vector>

#include "exec/dal/placeholders.h"
#include "exec/dal/postgresql/params.h"
#include "exec/dal/postgresql/value_text.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

// A bound statement as libpq sends it: the text with "$n" markers, and one
// text per parameter (see pgValueText; NULL as a null value). The server
// takes each parameter's type from where it stands. The texts refer to the
// values of the parameters given, which must outlive the object.
class PgBoundValues {
  public:
    // Refuses what makeBoundText and matchParameters refuse, and a text value
    // that PostgreSQL cannot store (a NUL byte).
    platform::ExecResult prepare(const std::string& sql,
                                 const platform::BoundParameters& parameters);

    const std::string& text() const noexcept { return m_bound.text; }
    PgParams params() const noexcept {
        return {static_cast<int>(m_values.size()), m_values.data(), m_lengths.data()};
    }

  private:
    struct Buffer {
        char bytes[kPgValueBuffer];
    };

    BoundText m_bound;
    std::vector<Buffer> m_buffers;
    std::vector<const char*> m_values;
    std::vector<int> m_lengths;
};

}  // namespace vorn::dal

#pragma once

#include "exec/dal/postgresql/result.h"

namespace vorn::dal {

// One chunk of a cursor's rows and the number of rows asked for: fewer rows
// than asked means the cursor has reached its end.
struct PgChunk {
    PgResult result;
    int requested = 0;

    bool last() const noexcept {
        return !result || PQntuples(result.get()) < requested || requested == 0;
    }
    // The size to ask for after this chunk: growing fourfold from the first
    // chunk's 100 rows, up to maxRows and to about 4 MiB of result.
    int nextRequest(int maxRows) const;
};

}  // namespace vorn::dal

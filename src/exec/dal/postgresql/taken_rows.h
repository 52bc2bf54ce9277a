#pragma once

#include <deque>
#include <utility>

#include "exec/dal/postgresql/result.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

// The rest of a streamed read (PgStream) that the link took in from the
// connection before its reader asked for it, because something else was to
// go out: the rows in blocks of rows, and the failure that ended the read, if
// one did. The reader goes on from here with the same rows and the same end.
class PgTakenRows {
  public:
    // Adds a row (a single-row result) to the last block, or starts a new
    // block with the row's columns. False when memory ran out.
    bool append(PgResult row);
    // The next block into rows (a row without columns comes on its own);
    // false when none is left.
    bool pop(PgResult& rows);

    void setEnd(platform::ExecResult status) { m_end = std::move(status); }
    // The failure that ended the read (success when none did), once.
    platform::ExecResult takeEnd() { return std::exchange(m_end, platform::ExecResult()); }

  private:
    std::deque<PgResult> m_blocks;
    platform::ExecResult m_end;
};

}  // namespace vorn::dal

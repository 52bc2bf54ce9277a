#pragma once

#include <cstdint>
#include <memory>

#include "exec/dal/backend.h"

// Connections and open results that a process inherited through fork()
// belong to its parent: the socket or file handles are shared with it, so the
// child must neither use nor close them (closing a PostgreSQL connection sends
// a goodbye on the parent's socket; closing an SQLite handle releases locks
// and may checkpoint). The child abandons them instead and opens its own.
namespace vorn::dal {

// Counts the fork() calls this process descends from: it changes in the child
// of every fork(), so an object that records it when made knows when it has
// been inherited.
std::uint64_t forkGeneration() noexcept;

// Keeps an inherited connection or result untouched, for as long as the
// process lives: its memory and handles stay as they are (the handles are
// close-on-exec), and nothing is sent or released.
void abandonInherited(std::shared_ptr<Connection> connection);
void abandonInherited(std::unique_ptr<Cursor> cursor);

}  // namespace vorn::dal

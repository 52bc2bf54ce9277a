#include "exec/dal/inherited.h"

#include <pthread.h>

#include <atomic>
#include <utility>

namespace vorn::dal {
namespace {

std::atomic<std::uint64_t> g_forkGeneration{0};

void afterForkInChild() {
    g_forkGeneration.fetch_add(1, std::memory_order_relaxed);
}

const bool g_registered = pthread_atfork(nullptr, nullptr, &afterForkInChild) == 0;

// What was abandoned, in a list that only grows and is never freed: pushing
// takes no lock, so it is safe in a child whatever the parent's other threads
// held at fork().
struct Abandoned {
    std::shared_ptr<Connection> connection;
    std::unique_ptr<Cursor> cursor;
    Abandoned* next = nullptr;
};

std::atomic<Abandoned*> g_abandoned{nullptr};

void keep(Abandoned* node) noexcept {
    node->next = g_abandoned.load(std::memory_order_relaxed);
    while (!g_abandoned.compare_exchange_weak(node->next, node, std::memory_order_release,
                                              std::memory_order_relaxed)) {
    }
}

}  // namespace

std::uint64_t forkGeneration() noexcept {
    (void)g_registered;
    return g_forkGeneration.load(std::memory_order_relaxed);
}

void abandonInherited(std::shared_ptr<Connection> connection) {
    if (connection) {
        keep(new Abandoned{std::move(connection), nullptr});
    }
}

void abandonInherited(std::unique_ptr<Cursor> cursor) {
    if (cursor) {
        keep(new Abandoned{nullptr, std::move(cursor)});
    }
}

}  // namespace vorn::dal

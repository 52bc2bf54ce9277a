#include "exec/dal/connection_cache.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "exec/dal/data_source_registry.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

struct Slot {
    std::string name;
    std::uint64_t generation = 0;  // registry generation when resolved
    std::shared_ptr<const DataSource> source;
    std::shared_ptr<Connection> connection;
};

// A thread uses few session names, so a short list beats a hash map.
struct ThreadConnections {
    std::vector<std::unique_ptr<Slot>> slots;

    Slot& slot(const std::string& name) {
        for (const auto& s : slots) {
            if (s->name == name) {
                return *s;
            }
        }
        slots.push_back(std::make_unique<Slot>());
        slots.back()->name = name;
        return *slots.back();
    }
};

thread_local ThreadConnections t_connections;

bool stillCurrent(const Slot& slot, std::uint64_t generation) {
    if (!slot.connection || slot.generation != generation || !slot.connection->usable()) {
        return false;
    }
    return !slot.source->embeddedDefault || std::strcmp(slot.source->dataDirSetting.c_str(),
                                                        DataSourceRegistry::dataDirSetting()) == 0;
}

}  // namespace

std::shared_ptr<Connection> ConnectionCache::acquire(const std::string& name,
                                                     platform::ExecResult& status) {
    Slot& slot = t_connections.slot(name);
    const std::uint64_t generation = DataSourceRegistry::generation();
    if (stillCurrent(slot, generation)) {
        return slot.connection;
    }
    std::shared_ptr<const DataSource> source = DataSourceRegistry::resolve(name);
    if (!source->valid()) {
        slot.connection.reset();
        slot.source.reset();
        status = platform::ExecResult::failure(
            platform::errc::kDataSourceInvalid,
            "data source \"" + name + "\" is invalid: " + source->problem);
        return nullptr;
    }
    const bool sameStore =
        slot.connection && slot.connection->usable() && slot.source->url == source->url;
    if (!sameStore) {
        slot.connection.reset();
        slot.source.reset();
        std::unique_ptr<Connection> connection = source->backend->connect(source->url, status);
        if (!connection) {
            return nullptr;
        }
        slot.connection = std::move(connection);
    }
    slot.source = std::move(source);
    slot.generation = generation;
    return slot.connection;
}

}  // namespace vorn::dal

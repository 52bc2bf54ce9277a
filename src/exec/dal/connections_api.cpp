#include "exec/dal/connection_cache.h"
#include "vorn/connections.h"

namespace vorn {

std::size_t closeConnections() {
    return dal::ConnectionCache::closeThread();
}

std::size_t closeAllConnections() {
    return dal::ConnectionCache::closeAll();
}

std::size_t closeIdleConnections() {
    return dal::ConnectionCache::closeIdle();
}

void setConnectionIdleTimeout(std::chrono::milliseconds timeout) {
    dal::ConnectionCache::setIdleTimeout(timeout);
}

std::chrono::milliseconds connectionIdleTimeout() {
    return dal::ConnectionCache::idleTimeout();
}

}  // namespace vorn

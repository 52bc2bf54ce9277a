#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "exec/dal/backend.h"

namespace vorn::dal {

// A session's hold on a connection: while one exists, the connection cache
// closes the connection only when the lease ends.
class ConnectionLease {
  public:
    ConnectionLease() = default;
    explicit ConnectionLease(std::shared_ptr<Connection> connection) noexcept
        : m_connection(std::move(connection)) {
        if (m_connection) {
            m_connection->enterSession();
        }
    }
    ~ConnectionLease() { reset(); }
    ConnectionLease(ConnectionLease&& other) noexcept
        : m_connection(std::move(other.m_connection)) {}
    ConnectionLease& operator=(ConnectionLease&& other) noexcept {
        if (this != &other) {
            reset();
            m_connection = std::move(other.m_connection);
        }
        return *this;
    }
    ConnectionLease(const ConnectionLease&) = delete;
    ConnectionLease& operator=(const ConnectionLease&) = delete;

    Connection* operator->() const noexcept { return m_connection.get(); }
    explicit operator bool() const noexcept { return static_cast<bool>(m_connection); }
    void reset() noexcept {
        if (m_connection) {
            m_connection->leaveSession();
            m_connection.reset();
        }
    }
    // Gives up the connection without leaving it, for abandoning it after fork().
    std::shared_ptr<Connection> release() noexcept { return std::move(m_connection); }

  private:
    std::shared_ptr<Connection> m_connection;
};

// The open connections, one per thread and session name. A thread's
// connections close when the thread ends, when it or another thread asks
// (closeThread, closeAll), or when they have been idle for the idle time.
//
// Closing never cuts into work: a connection is closed at once only when no
// session holds it (no reader is open on it) and no transaction is open on it.
// One a session holds leaves the cache at once and closes when the session
// ends; one with a transaction open is kept until the transaction ends, and
// closed at its thread's first call after that.
//
// The cache survives fork(): a child abandons every connection it inherited
// (see inherited.h) and opens its own.
// This thread's connection for name: the cached one while its binding is
// unchanged and it is usable (and not to be closed), otherwise a new one. An
// empty lease with status set when the name's data source is invalid or the
// connect fails (the next call tries again). Closing and the idle time are the
// calls of <vorn/connections.h>, defined beside it (connection_cache.cpp).
ConnectionLease acquireConnection(const std::string& name, platform::ExecResult& status);

}  // namespace vorn::dal

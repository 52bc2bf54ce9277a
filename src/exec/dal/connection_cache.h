#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include "exec/dal/backend.h"
#include "exec/dal/connection_budget.h"
#include "exec/dal/transaction_guard.h"

namespace vorn::dal {

// A session's hold on a connection: while one exists, the connection cache
// closes the connection only when the lease ends, and lends it to no other
// thread. A connection of a data source with a connection budget tells the
// budget when its lease ends, so that a thread waiting for a connection may
// take it over.
class ConnectionLease {
  public:
    ConnectionLease() = default;
    explicit ConnectionLease(std::shared_ptr<Connection> connection,
                             ConnectionBudget* budget = nullptr,
                             std::chrono::milliseconds callTimeout = {},
                             TransactionGuard* guard = nullptr) noexcept
        : m_connection(std::move(connection)),
          m_budget(budget),
          m_callTimeout(callTimeout),
          m_guard(guard) {
        if (m_connection) {
            m_connection->enterSession();
        }
    }
    ~ConnectionLease() { reset(); }
    ConnectionLease(ConnectionLease&& other) noexcept
        : m_connection(std::move(other.m_connection)),
          m_budget(other.m_budget),
          m_callTimeout(other.m_callTimeout),
          m_guard(std::exchange(other.m_guard, nullptr)) {}
    ConnectionLease& operator=(ConnectionLease&& other) noexcept {
        if (this != &other) {
            reset();
            m_connection = std::move(other.m_connection);
            m_budget = other.m_budget;
            m_callTimeout = other.m_callTimeout;
            m_guard = std::exchange(other.m_guard, nullptr);
        }
        return *this;
    }
    ConnectionLease(const ConnectionLease&) = delete;
    ConnectionLease& operator=(const ConnectionLease&) = delete;

    Connection* operator->() const noexcept { return m_connection.get(); }
    Connection& operator*() const noexcept { return *m_connection; }
    explicit operator bool() const noexcept { return static_cast<bool>(m_connection); }
    // The data source's vorn_call_timeout (0: none), for the calls that use
    // the lease after the one that took it (a reader's fetches).
    std::chrono::milliseconds callTimeout() const noexcept { return m_callTimeout; }
    // The guard of the caller's transaction on the lease's thread and session
    // name; null for an empty lease. A lease of a lost transaction holds the
    // guard and no connection.
    TransactionGuard* guard() const noexcept { return m_guard; }
    void reset() noexcept {
        if (m_connection) {
            m_connection->leaveSession();
            if (m_budget != nullptr) {
                m_budget->noteIdle();
            }
            m_connection.reset();
        }
        m_guard = nullptr;
    }
    // Gives up the connection without leaving it, for abandoning it after fork().
    std::shared_ptr<Connection> release() noexcept {
        m_budget = nullptr;
        m_guard = nullptr;
        return std::move(m_connection);
    }

  private:
    std::shared_ptr<Connection> m_connection;
    ConnectionBudget* m_budget = nullptr;
    std::chrono::milliseconds m_callTimeout{0};
    TransactionGuard* m_guard = nullptr;  // the slot's, which outlives the lease
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
// A connection idle for a second or more is asked whether the store still has
// it (Connection::stillOpen) before it is used, outside a transaction; one
// found gone is replaced, so a connection the server or a middlebox closed
// while idle never fails the next call.
//
// A data source with a connection budget (vorn_max_connections) has at most
// that many connections open over every thread and session name bound to its
// URL (connection_budget.h). A thread that needs a new connection when the
// budget is used up takes over an idle connection of another slot for the same
// URL (its own thread's first, then one of the same session name, then any),
// or waits for one to be given back until the call's deadline (10 s when it
// has none) and fails with errc::kTooManyConnections.
//
// The cache survives fork(): a child abandons every connection it inherited
// (see inherited.h) and opens its own.
//
// This thread's connection for name: the cached one while its binding is
// unchanged and it is usable (and not to be closed), otherwise a new one. An
// empty lease with status set when the name's data source is invalid or the
// connect fails (the next call tries again). A lost connection stays in its
// slot until a new one replaces it: for a call that ends a transaction
// (commit, rollback) it is handed out as it is, as there is
// nothing to end on a new connection. Closing and the idle time are the calls
// of <vorn/connections.h> (connections.cpp).
//
// use says what the call will do with the connection: before a call that may
// write outside a transaction a store kept in a file is asked whether its file
// was replaced (Connection::fileReplaced), and a replaced one is reopened.
// Whether a call of use on connection asks the store whether its file was
// replaced first: a write or a begin outside a transaction.
inline bool asksAboutTheFile(CallUse use, const Connection& connection) {
    return (use == CallUse::Write || use == CallUse::Begin) && !connection.inTransaction();
}

ConnectionLease acquireConnection(const std::string& name, platform::ExecResult& status,
                                  CallUse use = CallUse::Read);

}  // namespace vorn::dal

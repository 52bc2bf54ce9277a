#pragma once

#include <memory>
#include <string>

#include "exec/dal/backend.h"
#include "exec/dal/mariadb/settings.h"
#include "exec/dal/mariadb/statement.h"

namespace vorn::dal {

// A connection to a MariaDB (or MySQL) server through Connector/C, as the
// thread's connection cache keeps it.
//
// The session is pinned at connect: utf8mb4, time zone UTC, and the sql_mode
// the library's quoting assumes (kSessionMode): NO_BACKSLASH_ESCAPES, without
// which a backslash before a quote would end a builder's literal early;
// ANSI_QUOTES and PIPES_AS_CONCAT, so "name" and || mean what they mean on the
// other stores; strict mode, so that a value the server would change is
// refused instead. max_recursive_iterations is lifted from its default of
// 1000, at which the server ends a recursive WITH early with only a warning:
// a read gets all its rows, as on the other stores. A statement that starts with SET (a caller's
// raw SET may change the mode) is followed by the mode once more.
//
// One statement per call (no CLIENT_MULTI_STATEMENTS, and the lexer refuses a
// second one before anything is sent); LOAD DATA LOCAL is off.
//
// Inside the caller's transaction a failing statement undoes only itself:
// InnoDB rolls back just the statement, but for a deadlock (and a lock wait
// timeout under innodb_rollback_on_timeout), where it rolls back the whole
// transaction; inTransaction() then says so (the server's status, asked again
// after a failure), and the core's transaction guard sees the loss. DDL
// commits an open transaction on this store, which inTransaction() shows too.
class MariadbConnection final : public Connection {
  public:
    static constexpr const char* kSessionMode =
        "NO_BACKSLASH_ESCAPES,ANSI_QUOTES,PIPES_AS_CONCAT,STRICT_ALL_TABLES,"
        "NO_ENGINE_SUBSTITUTION,ERROR_FOR_DIVISION_BY_ZERO";

    // Connects with settings; url (as bound) tells which secrets to keep out
    // of error texts. Null with status set on failure.
    static std::unique_ptr<MariadbConnection> open(const MariadbSettings& settings,
                                                   const std::string& url,
                                                   platform::ExecResult& status);

    // SET TRANSACTION ISOLATION LEVEL for a level other than the default,
    // then START TRANSACTION. Inside a transaction nothing is sent and the
    // answer is success, as PostgreSQL's: MariaDB's START TRANSACTION would
    // commit the open one.
    platform::ExecResult begin(Isolation isolation) override;
    platform::ExecResult commit() override;
    platform::ExecResult rollback() override;
    platform::ExecResult execute(const std::string& sql) override;
    platform::ExecResult query(const std::string& sql, std::unique_ptr<Cursor>& cursor) override;
    // Placeholders become '?' markers of a server-side prepared statement,
    // closed after the call (nothing of it stays on the server); the values
    // go by the binary protocol.
    platform::ExecResult executeBound(const std::string& sql,
                                      const platform::BoundParameters& parameters) override;
    platform::ExecResult queryBound(const std::string& sql,
                                    const platform::BoundParameters& parameters,
                                    std::unique_ptr<Cursor>& cursor) override;
    // See MariadbBatchWriter.
    platform::ExecResult executeBatch(const std::string& sql,
                                      const BatchParameters& parameters) override;
    bool usable() const override { return !m_link->lost; }
    bool stillOpen() override;
    int serverSocket() const override;
    bool inTransaction() const override;

  private:
    explicit MariadbConnection(std::shared_ptr<MariadbLink> link) : m_link(std::move(link)) {}

    // Runs one statement of the library's own (no rows).
    platform::ExecResult control(const char* sql);
    // Runs statement; res gets its rows, if it has any and res is given.
    platform::ExecResult run(std::string_view statement, MYSQL_RES** res);
    // Prepares and runs a bound statement; stmt stays prepared on success.
    platform::ExecResult runBound(const std::string& sql,
                                  const platform::BoundParameters& parameters,
                                  MariadbStatement& stmt, std::string_view& statement);
    // What follows every statement: after a failure inside a transaction the
    // server's status is asked again (an error does not carry it); after SET
    // the session mode is applied again.
    platform::ExecResult settle(std::string_view statement, platform::ExecResult status,
                                bool wasInTransaction);

    std::shared_ptr<MariadbLink> m_link;
};

}  // namespace vorn::dal

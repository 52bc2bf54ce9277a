#include "exec/dal/mariadb/connection.h"

#include <errmsg.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "exec/dal/call_bound.h"
#include "exec/dal/mariadb/batch_writer.h"
#include "exec/dal/mariadb/cursor.h"
#include "exec/dal/placeholders.h"
#include "exec/platform/secret_mask.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;

// The connect timeout: the URL's, or what is left of the call's deadline.
unsigned int connectTimeout(const MariadbSettings& settings) {
    unsigned int seconds = settings.connectTimeoutSeconds;
    const CallClock::time_point deadline = callDeadline();
    if (deadline != CallClock::time_point::max()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::seconds>(deadline - CallClock::now()).count();
        seconds =
            std::min<unsigned int>(seconds, static_cast<unsigned int>(std::max<long>(left, 1)));
    }
    return seconds;
}

void setOptions(MYSQL* mysql, const MariadbSettings& settings) {
    const unsigned int timeout = connectTimeout(settings);
    mysql_options(mysql, MYSQL_OPT_CONNECT_TIMEOUT, &timeout);
    mysql_options(mysql, MYSQL_SET_CHARSET_NAME, "utf8mb4");
    const my_bool off = 0;
    mysql_options(mysql, MYSQL_OPT_LOCAL_INFILE, &off);
    const unsigned int protocol =
        settings.socket.empty() ? MYSQL_PROTOCOL_TCP : MYSQL_PROTOCOL_SOCKET;
    mysql_options(mysql, MYSQL_OPT_PROTOCOL, &protocol);
    const my_bool on = 1;
    if (settings.tls != MariadbSettings::Tls::Disable) {
        mysql_options(mysql, MYSQL_OPT_SSL_ENFORCE, &on);
    }
    if (settings.tls == MariadbSettings::Tls::Verify) {
        mysql_options(mysql, MYSQL_OPT_SSL_VERIFY_SERVER_CERT, &on);
    }
    if (!settings.sslCa.empty()) {
        mysql_options(mysql, MYSQL_OPT_SSL_CA, settings.sslCa.c_str());
    }
}

const char* orNull(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
}

const char* isolationStatement(Isolation isolation) {
    switch (isolation) {
        case Isolation::ReadCommitted:
            return "SET TRANSACTION ISOLATION LEVEL READ COMMITTED";
        case Isolation::RepeatableRead:
            return "SET TRANSACTION ISOLATION LEVEL REPEATABLE READ";
        case Isolation::Serializable:
            return "SET TRANSACTION ISOLATION LEVEL SERIALIZABLE";
        case Isolation::Default:
            break;
    }
    return nullptr;
}

}  // namespace

std::unique_ptr<MariadbConnection> MariadbConnection::open(const MariadbSettings& settings,
                                                           const std::string& url,
                                                           ExecResult& status) {
    auto link = std::make_shared<MariadbLink>();
    link->secrets = platform::SecretMask::urlValues(url);
    if (settings.password.size() >= platform::SecretMask::kShortestKnownValue) {
        link->secrets.push_back(settings.password);
    }
    link->mysql = mysql_init(nullptr);
    if (link->mysql == nullptr) {
        status = ExecResult::failure(platform::kMariadbCodeMarker | CR_OUT_OF_MEMORY,
                                     "cannot connect to MariaDB: out of memory");
        return nullptr;
    }
    setOptions(link->mysql, settings);
    // CLIENT_FOUND_ROWS: an UPDATE counts the rows it matched, as the other
    // stores do, not only those whose values changed.
    if (mysql_real_connect(link->mysql, orNull(settings.host), settings.user.c_str(),
                           settings.password.c_str(), orNull(settings.database), settings.port,
                           orNull(settings.socket), CLIENT_FOUND_ROWS) == nullptr) {
        status = link->failure();
        status = ExecResult::failure(status.errorCode(),
                                     "cannot connect to MariaDB: " + status.detail().value_or(""));
        return nullptr;
    }
    std::unique_ptr<MariadbConnection> connection(new MariadbConnection(link));
    const std::string pin = std::string("SET NAMES utf8mb4, time_zone = '+00:00', ") +
                            "max_recursive_iterations = 4294967295, sql_mode = '" + kSessionMode +
                            "'";
    status = connection->control(pin.c_str());
    return status.ok() ? std::move(connection) : nullptr;
}

bool MariadbConnection::inTransaction() const {
    if (m_link->lost) {
        return false;
    }
    unsigned int serverStatus = 0;
    mariadb_get_infov(m_link->mysql, MARIADB_CONNECTION_SERVER_STATUS, &serverStatus);
    return (serverStatus & SERVER_STATUS_IN_TRANS) != 0;
}

// Nothing is expected from the server between calls: a readable socket means
// it sent the error that ends the session (a kill, a shutdown, an idle
// timeout) or closed it.
bool MariadbConnection::stillOpen() {
    if (m_link->lost) {
        return false;
    }
    pollfd entry{};
    entry.fd = static_cast<int>(mysql_get_socket(m_link->mysql));
    entry.events = POLLIN;
    if (entry.fd < 0 || ::poll(&entry, 1, 0) > 0) {
        m_link->lost = true;
    }
    return !m_link->lost;
}

int MariadbConnection::serverSocket() const {
    return m_link->lost ? -1 : static_cast<int>(mysql_get_socket(m_link->mysql));
}

ExecResult MariadbConnection::run(std::string_view statement, MYSQL_RES** res) {
    MYSQL* const mysql = m_link->mysql;
    if (mysql_real_query(mysql, statement.data(), statement.size()) != 0) {
        return m_link->failure();
    }
    // Rows are read whole (see MariadbResultCursor); a write's have none.
    MYSQL_RES* rows = mysql_store_result(mysql);
    if (rows == nullptr) {
        if (mysql_field_count(mysql) != 0) {
            return m_link->failure();
        }
        ExecResult status;
        status.setRows(mysql_affected_rows(mysql));
        return status;
    }
    if (res != nullptr) {
        *res = rows;
    } else {
        mysql_free_result(rows);
    }
    return {};
}

ExecResult MariadbConnection::control(const char* sql) {
    return run(sql, nullptr);
}

ExecResult MariadbConnection::settle(std::string_view statement, ExecResult status,
                                     bool wasInTransaction) {
    if (m_link->lost) {
        return status;
    }
    if (!status.ok() && wasInTransaction) {
        // An error packet carries no server status; the OK of a statement that
        // does nothing does, and tells whether the failure ended the
        // transaction (a deadlock).
        static_cast<void>(control("DO 0"));
    }
    if (startsWithSet(statement)) {
        const std::string pin = std::string("SET SESSION sql_mode = '") + kSessionMode + "'";
        ExecResult pinned = control(pin.c_str());
        if (status.ok() && !pinned.ok()) {
            return pinned;
        }
    }
    return status;
}

ExecResult MariadbConnection::begin(Isolation isolation) {
    if (inTransaction()) {
        return {};
    }
    if (const char* level = isolationStatement(isolation)) {
        ExecResult status = control(level);
        if (!status.ok()) {
            return status;
        }
    }
    return control("START TRANSACTION");
}

ExecResult MariadbConnection::commit() {
    return control("COMMIT");
}

ExecResult MariadbConnection::rollback() {
    return control("ROLLBACK");
}

ExecResult MariadbConnection::execute(const std::string& sql) {
    std::string_view statement;
    ExecResult status = oneStatement(sql, statement);
    if (!status.ok() || statement.empty()) {
        return status;
    }
    const bool wasInTransaction = inTransaction();
    return settle(statement, run(statement, nullptr), wasInTransaction);
}

ExecResult MariadbConnection::query(const std::string& sql, std::unique_ptr<Cursor>& cursor) {
    cursor.reset();
    std::string_view statement;
    ExecResult status = oneStatement(sql, statement);
    if (!status.ok() || statement.empty()) {
        return status;
    }
    const bool wasInTransaction = inTransaction();
    MYSQL_RES* res = nullptr;
    status = settle(statement, run(statement, &res), wasInTransaction);
    if (res != nullptr) {
        if (status.ok() && mysql_num_rows(res) > 0) {
            cursor = std::make_unique<MariadbResultCursor>(res);
        } else {
            mysql_free_result(res);
        }
    }
    return status;
}

ExecResult MariadbConnection::runBound(const std::string& sql,
                                       const platform::BoundParameters& parameters,
                                       MariadbStatement& stmt, std::string_view& statement) {
    BoundText bound;
    ExecResult status = makeBoundText(sql, kMariadbDialect, '?', bound, MarkerStyle::Plain);
    if (status.ok()) {
        status = oneStatement(bound.text, statement);
    }
    std::vector<BatchValue> values(bound.names.size());
    if (status.ok()) {
        status = forEachBoundValue(bound.names, parameters,
                                   [&values](std::size_t i, const platform::BoundParameter& p) {
                                       values[i] = batchValueOf(p.value);
                                       return ExecResult();
                                   });
    }
    if (!status.ok() || statement.empty()) {
        return status;
    }
    // statement views bound.text, which ends here: it is not used again but
    // for startsWithSet, which the caller asks of the original text.
    status = stmt.prepare(*m_link, statement, bound.order.size());
    if (!status.ok()) {
        return status;
    }
    std::vector<MYSQL_BIND> binds(bound.order.size());
    std::vector<double> spare(bound.order.size());
    for (std::size_t k = 0; k < bound.order.size(); ++k) {
        mariadbBind(binds[k], values[bound.order[k]], spare[k]);
    }
    if ((!binds.empty() && mysql_stmt_bind_param(stmt.get(), binds.data()) != 0) ||
        mysql_stmt_execute(stmt.get()) != 0) {
        return m_link->failure(stmt.get());
    }
    return {};
}

ExecResult MariadbConnection::executeBound(const std::string& sql,
                                           const platform::BoundParameters& parameters) {
    const bool wasInTransaction = inTransaction();
    MariadbStatement stmt;
    std::string_view statement;
    ExecResult status = runBound(sql, parameters, stmt, statement);
    if (status.ok() && stmt.get() != nullptr) {
        status.setRows(mysql_stmt_affected_rows(stmt.get()));
    }
    stmt.reset();
    return settle(sql, std::move(status), wasInTransaction);
}

ExecResult MariadbConnection::queryBound(const std::string& sql,
                                         const platform::BoundParameters& parameters,
                                         std::unique_ptr<Cursor>& cursor) {
    cursor.reset();
    const bool wasInTransaction = inTransaction();
    MariadbStatement stmt;
    std::string_view statement;
    ExecResult status = runBound(sql, parameters, stmt, statement);
    if (status.ok() && stmt.get() != nullptr && mysql_stmt_field_count(stmt.get()) > 0) {
        const my_bool update = 1;
        mysql_stmt_attr_set(stmt.get(), STMT_ATTR_UPDATE_MAX_LENGTH, &update);
        if (mysql_stmt_store_result(stmt.get()) != 0) {
            status = m_link->failure(stmt.get());
        } else if (mysql_stmt_num_rows(stmt.get()) > 0) {
            cursor = MariadbStmtCursor::open(m_link, stmt.release(), status);
        }
    }
    stmt.reset();
    return settle(sql, std::move(status), wasInTransaction);
}

ExecResult MariadbConnection::executeBatch(const std::string& sql,
                                           const BatchParameters& parameters) {
    return MariadbBatchWriter(*m_link, inTransaction()).run(sql, parameters);
}

}  // namespace vorn::dal

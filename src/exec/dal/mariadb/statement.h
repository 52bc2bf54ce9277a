#pragma once

#include <mysql.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "exec/dal/batch_parameters.h"
#include "exec/dal/sql_lexer.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

// MariaDB's quoting as the session is pinned (see MariadbConnection): '...'
// without backslash escapes (NO_BACKSLASH_ESCAPES), "..." identifiers
// (ANSI_QUOTES), `name` identifiers, and # comments besides -- and /* */.
constexpr SqlDialect mariadbDialect() {
    SqlDialect dialect;
    dialect.backtickIdentifiers = true;
    dialect.hashComments = true;
    return dialect;
}
inline constexpr SqlDialect kMariadbDialect = mariadbDialect();

// One Connector/C connection, shared by the connection and the cursors of its
// open bound reads (whose prepared statements need it until they close).
struct MariadbLink {
    MYSQL* mysql = nullptr;
    // The URL's secrets, kept out of every error text.
    std::vector<std::string> secrets;
    // Set once a failure showed the connection cannot be used again.
    bool lost = false;

    MariadbLink() = default;
    ~MariadbLink() {
        if (mysql != nullptr) {
            mysql_close(mysql);
        }
    }
    MariadbLink(const MariadbLink&) = delete;
    MariadbLink& operator=(const MariadbLink&) = delete;

    // The last failure of the connection, or of stmt: the code carrying the
    // error number (kMariadbCodeMarker), the masked message; notes a lost
    // connection.
    platform::ExecResult failure();
    platform::ExecResult failure(MYSQL_STMT* stmt);
    platform::ExecResult failure(unsigned int errnum, const char* message);
};

// The text of the one statement of sql, without blanks, comments and ';'
// around it ("" for text of no statement); text holding a second statement
// is refused with errc::kMultipleStatements. The server is asked without
// CLIENT_MULTI_STATEMENTS in any case, so it would refuse a second statement
// too, but only after running the first.
platform::ExecResult oneStatement(std::string_view sql, std::string_view& statement);

// Whether statement starts with SET (after which the session's pinned mode is
// applied again).
bool startsWithSet(std::string_view statement);

// Owns one prepared statement.
class MariadbStatement {
  public:
    MariadbStatement() = default;
    ~MariadbStatement() { reset(); }
    MariadbStatement(const MariadbStatement&) = delete;
    MariadbStatement& operator=(const MariadbStatement&) = delete;

    // Prepares statement (one statement, see oneStatement) on link; a text
    // holding another number of '?' markers than expected (a marker of the
    // store's own beside the placeholders) is refused with
    // errc::kMalformedPlaceholder.
    platform::ExecResult prepare(MariadbLink& link, std::string_view statement,
                                 std::size_t expectedMarkers);
    MYSQL_STMT* get() const noexcept { return m_stmt; }
    MYSQL_STMT* release() noexcept {
        MYSQL_STMT* stmt = m_stmt;
        m_stmt = nullptr;
        return stmt;
    }
    void reset() noexcept;

  private:
    MYSQL_STMT* m_stmt = nullptr;
};

// Fills bind for one value (see BatchValue; kNullValue binds NULL) without
// copying it: value must outlive the execution. Unsigned 64-bit integers go
// as the signed integer of the same bits, floats as the double of their value
// (kept in spare).
void mariadbBind(MYSQL_BIND& bind, const BatchValue& value, double& spare);

}  // namespace vorn::dal

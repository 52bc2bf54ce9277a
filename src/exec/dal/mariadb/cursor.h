#pragma once

#include <mysql.h>

#include <memory>
#include <string>
#include <vector>

#include "exec/dal/backend.h"
#include "exec/dal/mariadb/statement.h"

namespace vorn::dal {

// The rows of one MariaDB read, read whole (mysql_store_result) when the read
// ran: the connection is free for other calls at once. Streaming them instead
// (mysql_use_result, the rest taken in when the connection is wanted again, as
// the PostgreSQL backend's taken rows do) is the next step; until then memory
// grows with the result.
//
// Fields: integer columns as the numbers they are (an unsigned BIGINT above
// INT64_MAX as its decimal text), DOUBLE and FLOAT as doubles (rendered as the
// shortest text that reads back: a FLOAT as the server's or the float's own
// shortest text), NULL as the empty text, everything else (DECIMAL, dates,
// texts, blobs, BIT) as the server's bytes.
class MariadbResultCursor final : public Cursor {
  public:
    // A plain statement's rows; res is freed with the cursor.
    explicit MariadbResultCursor(MYSQL_RES* res) noexcept : m_res(res) {}
    ~MariadbResultCursor() override { mysql_free_result(m_res); }
    MariadbResultCursor(const MariadbResultCursor&) = delete;
    MariadbResultCursor& operator=(const MariadbResultCursor&) = delete;

    bool fetch(platform::Row& row, platform::ExecResult& status) override;

  private:
    MYSQL_RES* m_res;
};

// The rows of a bound read (binary protocol), stored whole; the prepared
// statement is closed with the cursor, on the connection it shares.
class MariadbStmtCursor final : public Cursor {
  public:
    // stmt has run and its rows are stored (with STMT_ATTR_UPDATE_MAX_LENGTH).
    // Null with status set when its columns cannot be bound.
    static std::unique_ptr<MariadbStmtCursor> open(std::shared_ptr<MariadbLink> link,
                                                   MYSQL_STMT* stmt, platform::ExecResult& status);
    ~MariadbStmtCursor() override;
    MariadbStmtCursor(const MariadbStmtCursor&) = delete;
    MariadbStmtCursor& operator=(const MariadbStmtCursor&) = delete;

    bool fetch(platform::Row& row, platform::ExecResult& status) override;

  private:
    enum class Form : unsigned char { Integer, Unsigned, Double, Float, Bytes };
    struct Column {
        Form form = Form::Bytes;
        long long integer = 0;
        double real = 0;
        float single = 0;
        std::vector<char> bytes;
        unsigned long length = 0;
        my_bool isNull = 0;
    };

    MariadbStmtCursor(std::shared_ptr<MariadbLink> link, MYSQL_STMT* stmt)
        : m_link(std::move(link)), m_stmt(stmt) {}
    void readField(const Column& column, platform::FieldValue& field) const;

    std::shared_ptr<MariadbLink> m_link;
    MYSQL_STMT* m_stmt;
    std::vector<Column> m_columns;
    std::vector<MYSQL_BIND> m_binds;
};

}  // namespace vorn::dal

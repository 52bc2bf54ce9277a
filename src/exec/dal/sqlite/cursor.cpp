#include "exec/dal/sqlite/cursor.h"

#include <charconv>
#include <cstddef>
#include <cstdint>

namespace vorn::dal {
namespace {

// Room for the longest shortest-round-trip double ("-2.2250738585072014e-308")
// and any 64-bit integer.
constexpr std::size_t kNumberBuffer = 32;

void readField(sqlite3_stmt* stmt, int column, platform::FieldValue& field) {
    switch (sqlite3_column_type(stmt, column)) {
        case SQLITE_INTEGER: {
            char buffer[kNumberBuffer];
            const auto result =
                std::to_chars(buffer, buffer + kNumberBuffer,
                              static_cast<std::int64_t>(sqlite3_column_int64(stmt, column)));
            field.assign(buffer, static_cast<std::size_t>(result.ptr - buffer));
            break;
        }
        case SQLITE_FLOAT: {
            char buffer[kNumberBuffer];
            const auto result =
                std::to_chars(buffer, buffer + kNumberBuffer, sqlite3_column_double(stmt, column));
            field.assign(buffer, static_cast<std::size_t>(result.ptr - buffer));
            break;
        }
        case SQLITE_TEXT: {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, column));
            const int size = sqlite3_column_bytes(stmt, column);
            if (text == nullptr) {
                field.clear();
            } else {
                field.assign(text, static_cast<std::size_t>(size));
            }
            break;
        }
        case SQLITE_BLOB: {
            const void* blob = sqlite3_column_blob(stmt, column);
            const int size = sqlite3_column_bytes(stmt, column);
            if (blob == nullptr) {
                field.clear();
            } else {
                field.assign(static_cast<const char*>(blob), static_cast<std::size_t>(size));
            }
            break;
        }
        default:  // SQLITE_NULL
            field.clear();
            break;
    }
}

}  // namespace

SqliteCursor::SqliteCursor(SqliteStatement stmt) : m_prepared(std::make_unique<SqlitePrepared>()) {
    m_prepared->stmt = std::move(stmt);
}

void SqliteCursor::end() noexcept {
    if (const std::shared_ptr<SqliteStatementCache> home = m_home.lock()) {
        home->give(std::move(m_prepared));
    }
    m_prepared.reset();
}

bool SqliteCursor::fetch(platform::Row& row, platform::ExecResult& status) {
    status = platform::ExecResult();
    if (!m_prepared) {
        return false;
    }
    sqlite3_stmt* stmt = m_prepared->stmt.get();
    if (!m_rowPending) {
        const int rc = sqlite3_step(stmt);
        if (rc != SQLITE_ROW) {
            if (rc != SQLITE_DONE) {
                status = sqliteFailure(sqlite3_db_handle(stmt));
            }
            end();
            return false;
        }
    }
    m_rowPending = false;
    const int columns = sqlite3_column_count(stmt);
    row.resize(static_cast<std::size_t>(columns));
    for (int i = 0; i < columns; ++i) {
        readField(stmt, i, row[static_cast<std::size_t>(i)]);
    }
    return true;
}

}  // namespace vorn::dal

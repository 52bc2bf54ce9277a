#include "exec/dal/sqlite/cursor.h"

#include <cstddef>

namespace vorn::dal {
namespace {

// The connection is opened without SQLite's mutex (SQLITE_OPEN_NOMUTEX) and
// used by one thread, so the column's value is read directly: one call finds
// the column, the value calls that follow skip the statement's checks.
void readField(sqlite3_stmt* stmt, int column, platform::FieldValue& field) {
    sqlite3_value* value = sqlite3_column_value(stmt, column);
    switch (sqlite3_value_type(value)) {
        case SQLITE_INTEGER:
            field.setInteger(sqlite3_value_int64(value));
            break;
        case SQLITE_FLOAT:
            field.setReal(sqlite3_value_double(value));
            break;
        case SQLITE_TEXT: {
            const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
            const int size = sqlite3_value_bytes(value);
            if (text == nullptr) {
                field.clear();
            } else {
                field.assign(text, static_cast<std::size_t>(size));
            }
            break;
        }
        case SQLITE_BLOB: {
            const void* blob = sqlite3_value_blob(value);
            const int size = sqlite3_value_bytes(value);
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

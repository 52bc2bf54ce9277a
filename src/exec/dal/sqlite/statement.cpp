#include "exec/dal/sqlite/statement.h"

#include <climits>
#include <cstdint>
#include <string_view>

#include "exec/dal/backend.h"
#include "exec/dal/call_bound.h"
#include "exec/platform/type_registry.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {

using platform::ExecResult;

SqliteStatement& SqliteStatement::operator=(SqliteStatement&& other) noexcept {
    if (this != &other) {
        sqlite3_finalize(m_stmt);
        m_stmt = other.m_stmt;
        other.m_stmt = nullptr;
    }
    return *this;
}

ExecResult SqliteStatement::prepare(sqlite3* db, const std::string& sql) {
    sqlite3_finalize(m_stmt);
    m_stmt = nullptr;
    if (sql.size() >= static_cast<std::size_t>(INT_MAX)) {
        return ExecResult::failure(SQLITE_TOOBIG, "statement text too long");
    }
    const char* const begin = sql.c_str();
    const char* const end = begin + sql.size();
    const char* next = begin;
    // Leading empty statements (";") and comments prepare to nothing; go on
    // to the first real statement.
    while (m_stmt == nullptr && next < end) {
        const char* tail = nullptr;
        // The length counts the terminating NUL that std::string guarantees;
        // without it SQLite would copy the text to terminate it.
        const int rc =
            sqlite3_prepare_v2(db, next, static_cast<int>(end - next) + 1, &m_stmt, &tail);
        if (rc != SQLITE_OK) {
            m_stmt = nullptr;
            return sqliteFailure(db);
        }
        if (tail == nullptr || tail <= next) {
            break;  // stopped at a NUL byte; the check below refuses the rest
        }
        next = tail;
    }
    if (next < end &&
        !holdsNoStatement(std::string_view(next, static_cast<std::size_t>(end - next)),
                          kSqliteDialect)) {
        sqlite3_finalize(m_stmt);
        m_stmt = nullptr;
        return secondStatementRefused();
    }
    return {};
}

int sqliteBind(sqlite3_stmt* stmt, int index, const BatchValue& value,
               sqlite3_destructor_type textLifetime) {
    namespace typecode = platform::typecode;
    switch (value.code) {
        case typecode::kString:
            return sqlite3_bind_text64(stmt, index, value.text().data(), value.text().size(),
                                       textLifetime, SQLITE_UTF8);
        case typecode::kInt64:
            return sqlite3_bind_int64(stmt, index, value.as<std::int64_t>());
        case typecode::kUInt64:
            return sqlite3_bind_int64(stmt, index,
                                      static_cast<sqlite3_int64>(value.as<std::uint64_t>()));
        case typecode::kFloat:
            return sqlite3_bind_double(stmt, index, static_cast<double>(value.as<float>()));
        case typecode::kDouble:
            return sqlite3_bind_double(stmt, index, value.as<double>());
        case kNullValue:
            return sqlite3_bind_null(stmt, index);
        default:
            return SQLITE_MISMATCH;
    }
}

ExecResult sqliteFailure(sqlite3* db) {
    const int code = sqlite3_extended_errcode(db);
    const int primary = code & 0xff;
    if ((primary == SQLITE_INTERRUPT || primary == SQLITE_BUSY) && callExpired()) {
        // A wait for a lock the call's end cut short is its time-out too.
        return ExecResult::failure(
            SQLITE_INTERRUPT,
            std::string(primary == SQLITE_BUSY ? "gave up waiting for a lock: " : "interrupted: ") +
                callEndReason());
    }
    return ExecResult::failure(static_cast<std::uint64_t>(code), sqlite3_errmsg(db));
}

ExecResult sqliteExec(sqlite3* db, const char* sql) {
    if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        return sqliteFailure(db);
    }
    return {};
}

}  // namespace vorn::dal

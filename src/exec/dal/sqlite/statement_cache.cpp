#include "exec/dal/sqlite/statement_cache.h"

#include <cstdint>
#include <new>

#include "exec/dal/placeholders.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {

using platform::ExecResult;

ExecResult SqlitePrepared::bind(const platform::BoundParameters& parameters, bool forRead) const {
    sqlite3_stmt* const s = stmt.get();
    const sqlite3_destructor_type lifetime = forRead ? SQLITE_TRANSIENT : SQLITE_STATIC;
    return forEachBoundValue(
        names, parameters, [s, lifetime](std::size_t i, const platform::BoundParameter& parameter) {
            const int rc =
                sqliteBind(s, static_cast<int>(i + 1), batchValueOf(parameter.value), lifetime);
            return rc == SQLITE_OK
                       ? ExecResult()
                       : ExecResult::failure(static_cast<std::uint64_t>(rc), sqlite3_errstr(rc));
        });
}

ExecResult SqliteStatementCache::take(sqlite3* db, const std::string& sql,
                                      std::unique_ptr<SqlitePrepared>& out) {
    for (auto it = m_kept.rbegin(); it != m_kept.rend(); ++it) {
        if ((*it)->db == db && (*it)->sql == sql) {
            out = std::move(*it);
            m_kept.erase(std::next(it).base());
            return {};
        }
    }
    auto prepared = std::make_unique<SqlitePrepared>();
    BoundText bound;
    ExecResult status = makeBoundText(sql, kSqliteDialect, '?', bound);
    if (status.ok()) {
        status = prepared->stmt.prepare(db, bound.text);
    }
    if (!status.ok()) {
        return status;
    }
    if (prepared->stmt.get() != nullptr && sqlite3_bind_parameter_count(prepared->stmt.get()) !=
                                               static_cast<int>(bound.names.size())) {
        return ExecResult::failure(platform::errc::kMalformedPlaceholder,
                                   "the text holds a parameter marker of SQLite's own (?, :name, "
                                   "@name, $name); a placeholder is {name}");
    }
    prepared->db = db;
    prepared->sql = sql;
    prepared->names = std::move(bound.names);
    out = std::move(prepared);
    return {};
}

void SqliteStatementCache::give(std::unique_ptr<SqlitePrepared> prepared) noexcept {
    if (!prepared || prepared->stmt.get() == nullptr) {
        return;
    }
    sqlite3_reset(prepared->stmt.get());
    prepared->ranBefore = true;
    if (m_kept.size() >= kCapacity) {
        m_kept.erase(m_kept.begin());
    }
    try {
        m_kept.push_back(std::move(prepared));
    } catch (const std::bad_alloc&) {
        // Not kept: the statement is finalized and prepared again next time.
    }
}

}  // namespace vorn::dal

#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "exec/dal/sqlite/statement.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

// A bound statement prepared on one handle: the text as the caller wrote it,
// the statement, and the names of its parameters in number order (empty for a
// statement that is not a bound one).
struct SqlitePrepared {
    sqlite3* db = nullptr;
    std::string sql;
    SqliteStatement stmt;
    std::vector<std::string> names;
    bool ranBefore = false;  // given back at least once

    // Binds parameters to the statement's numbered parameters, refusing a
    // placeholder with no value and a value with no placeholder. Texts are
    // copied for a read, whose steps go on after the call returns, while the
    // caller may change or drop its values; a write uses them in place.
    platform::ExecResult bind(const platform::BoundParameters& parameters, bool forRead) const;
};

// The prepared forms of the bound statements one connection ran last, on any
// of its handles, so that running a text again costs no parsing or planning.
// A form is taken out while it runs (a read's cursor keeps it until its rows
// end) and given back afterwards, reset; two reads of one text open at once
// each have their own. The kCapacity forms used last are kept. A schema
// change needs nothing here: SQLite prepares a kept form again when it must.
class SqliteStatementCache {
  public:
    static constexpr std::size_t kCapacity = 32;

    // The prepared form of the bound statement sql on db, kept or new.
    // Refuses what makeBoundText and SqliteStatement::prepare refuse, and
    // SQLite's own parameter markers ("?", ":name", "@name", "$name").
    platform::ExecResult take(sqlite3* db, const std::string& sql,
                              std::unique_ptr<SqlitePrepared>& out);
    // Keeps a form that take() gave out; its statement is reset here.
    void give(std::unique_ptr<SqlitePrepared> prepared) noexcept;

  private:
    std::vector<std::unique_ptr<SqlitePrepared>> m_kept;  // the one used last at the end
};

}  // namespace vorn::dal

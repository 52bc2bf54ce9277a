#pragma once

/// @file
/// @brief CVORNDroper: the DROP builder.

#include <string>

#include "vorn/base.h"
#include "vorn/export.h"

/// DROP builder: `drop table <name>` or `drop view <name>`, with a database
/// qualifier `drop <database>.table <name>` or `drop <database>.view <name>`.
/// The database qualifier stands before the object kind ("drop main.table t").
/// Once view() has been called the object kind stays "view" for the life of the
/// object, also after table() and clear(): use a new dropper for tables.
/// index() is stored but never rendered.
class VORN_API CVORNDroper : public CVORNBase {
  public:
    /// A dropper for a table, with no name yet.
    CVORNDroper() = default;
    ~CVORNDroper() override;

    /// Names the object to drop; the object kind is left as it is (a table
    /// unless view() was called before).
    CVORNTable table(const std::string& name) override;
    /// `"drop "`, then `"<database>."` if a database was given, then
    /// `"table <name>"` or `"view <name>"`; only `"drop "` and the qualifier
    /// when no name was given.
    std::string toString() const override;
    /// Empties the name, the database and the index; the object kind stays.
    void clear() override;

    /// Names a view to drop; from now on the object kind is "view".
    CVORNTable view(const std::string& name);
    /// Sets the database qualifier, written before the object kind.
    void database(const std::string& name);
    /// Stores an index name, which is never rendered.
    void index(const std::string& name);

  private:
    std::string m_database;
    std::string m_index;
    bool m_isTable = true;
};

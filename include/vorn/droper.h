#pragma once

#include <string>

#include "vorn/base.h"
#include "vorn/export.h"

// DROP builder: drop [<database>.]table <name> | drop [<database>.]view <name>.
// The database qualifier stands before the object kind ("drop main.table t").
// Once view() has been called the object kind stays "view" for the life of the
// object, also after table() and clear(): use a new dropper for tables.
// index() is stored but never rendered.
class VORN_API CVORNDroper : public CVORNBase {
  public:
    CVORNDroper() = default;
    ~CVORNDroper() override;

    CVORNTable table(const std::string& name) override;
    std::string toString() const override;
    void clear() override;

    CVORNTable view(const std::string& name);
    void database(const std::string& name);
    void index(const std::string& name);

  private:
    std::string m_database;
    std::string m_index;
    bool m_isTable = true;
};

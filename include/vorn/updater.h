#pragma once

/// @file
/// @brief CVORNUpdater: the UPDATE builder.

#include <string>

#include "vorn/base.h"
#include "vorn/criterion.h"
#include "vorn/export.h"

/// UPDATE builder: `update <table> set <col>=<value>,...[ where <condition>]`
/// Usual call: `upd["level"].assign(3)`. Unsigned values of 4294967295 and above
/// are written as 0. Note that clear() leaves a bare " where " behind: a cleared
/// updater must be given a new where() before it is run.
class VORN_API CVORNUpdater : public CVORNBase {
  public:
    /// An updater with no table, assignments or condition.
    CVORNUpdater();
    ~CVORNUpdater() override;

    /// Sets the table to update, replacing the one named before.
    CVORNTable table(const std::string& name) override;
    /// `"update <table>"`, the set list, then the condition if any.
    std::string toString() const override;
    /// Empties the set list and sets the condition to a bare " where "; the
    /// table stays.
    void clear() override;

    /// Appends a column, its single quotes doubled, to the set list (`" set "`
    /// before the first, `","` before the others); the assign() that follows
    /// writes its value.
    CVORNUpdater& operator[](const std::string& column);

    /// Appends ``"='<value>'"``, the value's quotes doubled.
    void assign(const std::string& value);
    /// Appends ``"='<c>'"``, a quote doubled.
    void assign(const char& value);
    /// Appends ``"='<value>'"``, the value's quotes doubled.
    /// Throws std::logic_error for a null pointer (after "='" has been appended).
    void assign(const char* value);
    /// Appends `"=<value>"` in decimal.
    void assign(const short& value);
    /// Appends `"=<value>"` in decimal.
    void assign(const int& value);
    /// Appends `"=<value>"` in decimal (unsigned, unlike the inserter);
    /// 4294967295 as 0.
    void assign(const unsigned int& value);
    /// Appends `"=<value>"` in decimal; 4294967295 and above as 0.
    void assign(const unsigned long& value);
    /// Appends `"=<value>"` in decimal.
    void assign(const long& value);
    /// Appends `"=<value>"` with `"%f"`: six decimals, no exponent.
    void assign(const float& value);
    /// Appends `"=<value>"` with `"%f"`: six decimals, no exponent.
    void assign(const double& value);
    /// Appends `"=NULL"`.
    void assign(const CVORNNull& value);

    /// Sets the condition, replacing the one before: `" where "` and the
    /// condition's text unchanged.
    void where(const CVORNCriterion& condition);

  private:
    std::string m_update;
    std::string m_setList;
    std::string m_where;
};

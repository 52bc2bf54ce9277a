#pragma once

/// @file
/// @brief CVORNDeleter: the DELETE builder.

#include <string>

#include "vorn/base.h"
#include "vorn/criterion.h"
#include "vorn/export.h"

/// DELETE builder: `delete from <table>[ where <condition>]`. Without a condition
/// every row of the table is deleted. table() replaces the table; clear() keeps it.
class VORN_API CVORNDeleter : public CVORNBase {
  public:
    /// A deleter with no table and no condition.
    CVORNDeleter() = default;
    ~CVORNDeleter() override;

    /// Sets the table rows are deleted from, replacing the one named before.
    CVORNTable table(const std::string& name) override;
    /// `"delete from <table>"`, then `" where <condition>"` if one was given.
    std::string toString() const override;
    /// Drops the condition; the table stays.
    void clear() override;

    /// Sets the condition, replacing the one before: `" where "` and the
    /// condition's text unchanged.
    void where(const CVORNCriterion& condition);

  private:
    std::string m_where;
};

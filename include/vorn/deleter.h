#pragma once

#include <string>

#include "vorn/base.h"
#include "vorn/criterion.h"
#include "vorn/export.h"

// DELETE builder: delete from <table>[ where <condition>]. Without a condition
// every row of the table is deleted. table() replaces the table; clear() keeps it.
class VORN_API CVORNDeleter : public CVORNBase {
  public:
    CVORNDeleter() = default;
    ~CVORNDeleter() override;

    CVORNTable table(const std::string& name) override;
    std::string toString() const override;
    void clear() override;

    void where(const CVORNCriterion& condition);

  private:
    std::string m_where;
};

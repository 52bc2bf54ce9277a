#pragma once

#include <string>

#include "vorn/base.h"
#include "vorn/criterion.h"
#include "vorn/export.h"

// UPDATE builder: update <table> set <col>=<value>,...[ where <condition>]
// Usual call: upd["level"].assign(3). Unsigned values of 4294967295 and above
// are written as 0. Note that clear() leaves a bare " where " behind: a cleared
// updater must be given a new where() before it is run.
class VORN_API CVORNUpdater : public CVORNBase {
  public:
    CVORNUpdater();
    ~CVORNUpdater() override;

    CVORNTable table(const std::string& name) override;
    std::string toString() const override;
    void clear() override;

    CVORNUpdater& operator[](const std::string& column);

    void assign(const std::string& value);
    void assign(const char& value);
    // Throws std::logic_error for a null pointer (after "='" has been appended).
    void assign(const char* value);
    void assign(const short& value);
    void assign(const int& value);
    void assign(const unsigned int& value);
    void assign(const unsigned long& value);
    void assign(const long& value);
    void assign(const float& value);
    void assign(const double& value);
    void assign(const CVORNNull& value);

    void where(const CVORNCriterion& condition);

  private:
    std::string m_update;
    std::string m_setList;
    std::string m_where;
};

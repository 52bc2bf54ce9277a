#pragma once

#include <string>

#include "vorn/base.h"
#include "vorn/criterion.h"
#include "vorn/export.h"

// Compound operators; any other value renders " UNION ".
enum ENUM_COMPOUND_OP {
    COMPOUND_UNION = 1,
    COMPOUND_UNION_ALL = 2,
    COMPOUND_INTERSECT = 3,
    COMPOUND_EXCEPT = 4,
};

// SELECT builder. Renders, with no separators of its own:
//   select <distinct><columns or " * "> from <tables><where><compound><order by><limit>
// Tables accumulate (de-duplicated by substring), columns and order keys are
// appended, where/limit/compound/distinct are replaced. clear() keeps the tables.
class VORN_API CVORNSelector : public CVORNBase {
  public:
    CVORNSelector() = default;
    ~CVORNSelector() override;

    CVORNTable table(const std::string& name) override;
    std::string toString() const override;
    void clear() override;

    void select(const std::string& column);
    void select(const CVORNColumn& column);
    CVORNSelector& operator<<(const CVORNCriterionItem& item);
    void distinct();
    // ascending == true writes no keyword; false appends " DESC".
    void orderBy(const std::string& column, bool ascending = true);
    void orderBy(const CVORNColumn& column, bool ascending = true);
    // The condition's text is written unchanged after " where ".
    void where(const CVORNCriterion& condition);
    void limit(unsigned int count, unsigned int offset);
    // Takes other's text now; later changes to other are not seen.
    void compound(const CVORNSelector& other, ENUM_COMPOUND_OP op);

  private:
    std::string m_columns;
    std::string m_orderBy;
    std::string m_where;
    std::string m_distinct;
    std::string m_limit;
    std::string m_compound;
};

#pragma once

/// @file
/// @brief CVORNSelector: the SELECT builder, and its compound operators.

#include <string>

#include "vorn/base.h"
#include "vorn/criterion.h"
#include "vorn/export.h"

/// Compound operators; any other value renders " UNION ".
enum ENUM_COMPOUND_OP {
    COMPOUND_UNION = 1,      ///< `" UNION "`
    COMPOUND_UNION_ALL = 2,  ///< `" UNION ALL "`
    COMPOUND_INTERSECT = 3,  ///< `" INTERSECT "`
    COMPOUND_EXCEPT = 4,     ///< `" EXCEPT "`
};

/// SELECT builder. Renders, with no separators of its own:
/// `select <distinct><columns or " * "> from <tables><where><compound><order by><limit>`
/// Tables accumulate (de-duplicated by substring), columns and order keys are
/// appended, where/limit/compound/distinct are replaced. clear() keeps the tables.
class VORN_API CVORNSelector : public CVORNBase {
  public:
    /// A selector with no table, columns or clauses.
    CVORNSelector() = default;
    ~CVORNSelector() override;

    /// Adds the table to the table list (see CVORNBase::constructAttachAndDetachSQL()).
    CVORNTable table(const std::string& name) override;
    /// The statement as described for the class, e.g.
    /// `"select id,text from alarm where (alarm.level >= 3) order by id DESC"`.
    std::string toString() const override;
    /// Empties the columns, condition, order, limit, compound and distinct;
    /// the tables stay.
    void clear() override;

    /// Appends a column, its single quotes doubled (`","` before all but the first).
    void select(const std::string& column);
    /// Appends the column's `"table.column"` (nothing for an unqualified column
    /// but the separator), its quotes doubled.
    void select(const CVORNColumn& column);
    /// Appends the operand's text as a column (an aggregate such as vornCount()),
    /// its quotes doubled.
    CVORNSelector& operator<<(const CVORNCriterionItem& item);
    /// Writes `"distinct "` after `"select "`.
    void distinct();
    /// Appends an order key, its quotes doubled (`" order by "` before the first,
    /// `","` before the others, whatever the keys: an empty first key renders
    /// `" order by ,b"`).
    /// ascending == true writes no keyword; false appends " DESC".
    void orderBy(const std::string& column, bool ascending = true);
    /// Appends the column's `"table.column"` as an order key, as orderBy(const std::string&, bool).
    void orderBy(const CVORNColumn& column, bool ascending = true);
    /// Sets the condition, replacing the one before.
    /// The condition's text is written unchanged after " where ".
    void where(const CVORNCriterion& condition);
    /// Sets `" LIMIT <count> OFFSET <offset>"`, replacing the one before.
    void limit(unsigned int count, unsigned int offset);
    /// Sets the compound part, replacing the one before: the operator's text
    /// (see ENUM_COMPOUND_OP) and other's statement.
    /// Takes other's text now; later changes to other are not seen.
    void compound(const CVORNSelector& other, ENUM_COMPOUND_OP op);

  private:
    // Each clause keeps only what varies; toString() writes the keywords.
    std::string m_columns;
    std::string m_orderBy;             // the order keys, ',' between them, when m_hasOrderBy
    vorn::detail::InlineText m_where;  // the condition's text, when m_hasWhere
    std::string m_distinct;
    std::string m_compound;
    unsigned int m_limitCount = 0;
    unsigned int m_limitOffset = 0;
    bool m_hasWhere = false;
    bool m_hasOrderBy = false;  // set by the first orderBy(), whatever its key
    bool m_hasLimit = false;
};

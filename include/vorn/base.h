#pragma once

/// @file
/// @brief Tables, columns, the NULL marker, the statement contract and the raw
/// statement.

#include <string>

#include "vorn/export.h"

class CVORNColumn;
class CVORNCriterion;
class CVORNCriterionItem;

/// A table name. operator[] yields a condition operand over `"table.column"`.
class VORN_API CVORNTable {
  public:
    /// A table of that name; the name is kept as given.
    explicit CVORNTable(const std::string& name);

    /// The name given to the constructor.
    std::string getTableName() const;
    /// The column of this table; neither part is escaped.
    CVORNColumn column(const std::string& columnName) const;
    /// An operand over `"<table>.<column>"`, the column's single quotes doubled.
    /// A table with an empty name yields an operand over the empty string.
    CVORNCriterionItem operator[](const std::string& columnName) const;

  private:
    // The builders read the name without copying it.
    friend class CVORNBase;

    std::string m_tableName;
};

/// A table-qualified column. It renders `"table.column"` and, when the table name
/// is empty, nothing at all.
class VORN_API CVORNColumn {
  public:
    /// The column columnName of table tableName; neither part is escaped.
    CVORNColumn(const std::string& tableName, const std::string& columnName);

    /// The table name given to the constructor.
    std::string getTableName() const;
    /// `".column"` for a qualified column, `""` when the table name is empty.
    std::string getColumnName() const;
    /// `"table.column"`, or `""` when the table name is empty.
    std::string toString() const;

  private:
    std::string m_tableName;
    std::string m_columnName;
};

/// The SQL NULL marker. Streamed into an inserter or assigned by an updater it
/// writes NULL; streamed out of a reader before a field, it becomes true when
/// that field is empty.
class VORN_API CVORNNull {
  public:
    /// A marker that is false until a reader sets it.
    CVORNNull() = default;
    /// Whether a reader found the field after it empty. Once set, it stays true
    /// for the life of the marker: use a new one per field.
    explicit operator bool() const { return m_isNull; }

  private:
    friend class CVORNReader;
    bool m_isNull = false;
};

/// The contract every statement builder fulfils. The executor sees a statement
/// only through toString().
class VORN_API CVORNBase {
  public:
    /// A builder with no table.
    CVORNBase() = default;
    /// Copies the table, the table list and the attach and detach texts.
    CVORNBase(const CVORNBase&) = default;
    /// Copies the table, the table list and the attach and detach texts.
    CVORNBase& operator=(const CVORNBase&) = default;
    virtual ~CVORNBase();

    /// Names the table the statement works on. The base body records it in m_table.
    virtual CVORNTable table(const std::string& name) = 0;
    /// Renders the complete statement. The base body renders "".
    virtual std::string toString() const = 0;
    /// Resets the builder's clauses for reuse. The base body empties m_table only.
    virtual void clear() = 0;

    /// Adds a table to m_tableList unless its name already occurs in the list as a
    /// substring ("task" after "taskinfo" is skipped), and empties the attach and
    /// detach texts.
    void constructAttachAndDetachSQL(const CVORNTable& table);

  protected:
    /// The table named by table(), for the builders that work on one table.
    std::string m_table;
    /// Text rendered before the statement; emptied by every
    /// constructAttachAndDetachSQL() and never set otherwise.
    std::string m_attachSQL;
    /// Text rendered after the statement; emptied by every
    /// constructAttachAndDetachSQL() and never set otherwise.
    std::string m_detachSQL;
    /// The tables of the statement, separated by ',' (no blank).
    std::string m_tableList;
};

/// A raw statement whose text the caller supplies whole.
class VORN_API CVORNsqlstr : public CVORNBase {
  public:
    /// An empty statement (which the database objects refuse to run).
    CVORNsqlstr() = default;
    ~CVORNsqlstr() override;

    /// Replaces the statement text; nothing is trimmed, escaped or checked.
    void assign(const std::string& sql);
    /// Records the table in the table list; the rendered text does not change.
    CVORNTable table(const std::string& name) override;
    /// The text given to assign(), as it was given.
    std::string toString() const override;
    /// Empties the statement text; the table list stays.
    void clear() override;
    /// Accepted for symmetry with the other builders and ignored.
    void where(const CVORNCriterion& condition);

  private:
    std::string m_sql;
};

#pragma once

/// @file
/// @brief The batch inserter: whole typed columns sent as one parameter set.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "vorn/base.h"
#include "vorn/export.h"

/// One column of a batch: the type code fixed by its first value and one vector
/// per type, of which only the one of m_type is used.
struct VORN_API BaseTypeVector {
    /// The type of a column's values, and so the vector that holds them.
    enum Type : std::uint32_t {
        TYPE_STRING = 0,    ///< std::string and C strings, in m_strVec
        TYPE_SIGNED = 1,    ///< bool, short, int and long, in m_longVec
        TYPE_UNSIGNED = 2,  ///< unsigned short, unsigned int and unsigned long, in m_ulongVec
        TYPE_FLOAT = 3,     ///< float, in m_floatVec
        TYPE_DOUBLE = 4,    ///< double, in m_doubleVec
    };

    Type m_type = TYPE_STRING;              ///< the type of the column's first value
    std::vector<std::string> m_strVec;      ///< the values of a TYPE_STRING column
    std::vector<std::int64_t> m_longVec;    ///< the values of a TYPE_SIGNED column (bool as 1 or 0)
    std::vector<std::uint64_t> m_ulongVec;  ///< the values of a TYPE_UNSIGNED column
    std::vector<float> m_floatVec;          ///< the values of a TYPE_FLOAT column
    std::vector<double> m_doubleVec;        ///< the values of a TYPE_DOUBLE column
};

/// Collects whole columns for one table and renders one INSERT with "{column}"
/// placeholders; MIRAsqlDB::ExecBatchInserter binds the columns row by row, so
/// values never enter the SQL text.
///
/// @code
///   batch.table("T_ALARM");
///   batch["id"] << 1 << 2;
///   batch["name"] << std::string("a") << std::string("b");
///   db->ExecBatchInserter(batch);   // insert into T_ALARM (id, name) values({id}, {name})
/// @endcode
///
/// Columns are rendered in byte-wise order of their names, not in the order they
/// were selected. bool, short, int and long share the signed column type and
/// may be mixed; so may the unsigned types. A value of another type than its
/// column's first value is dropped and logged with its type code.
class VORN_API BatchInserter : public CVORNBase {
  public:
    /// A batch with no table and no columns.
    BatchInserter() = default;
    ~BatchInserter() override;

    /// Sets the table the rows go to, replacing the one named before.
    CVORNTable table(const std::string& name) override;
    /// `"insert into <table> (<a>, <b>) values({a}, {b})"`, the columns in
    /// byte-wise order of their names; with no column
    /// `"insert into <table> () values()"`.
    std::string toString() const override;
    /// Empties the columns; the table name stays.
    void clear() override;

    /// Selects the column that the following values go to; single quotes in
    /// the name are doubled. Values streamed before any column is selected go
    /// to the column with the empty name.
    BatchInserter& operator[](const std::string& column);

    /// Appends true as 1 and false as 0 to a signed column.
    BatchInserter& operator<<(const bool& value);
    /// Appends a text value; the text is bound, never escaped.
    BatchInserter& operator<<(const std::string& value);
    /// A C string is a text value (not a bool); a null pointer throws std::logic_error.
    BatchInserter& operator<<(const char* value);
    /// Appends a value to a signed column.
    BatchInserter& operator<<(const short& value);
    /// Appends a value to an unsigned column.
    BatchInserter& operator<<(const unsigned short& value);
    /// Appends a value to a signed column.
    BatchInserter& operator<<(const int& value);
    /// Appends a value to an unsigned column.
    BatchInserter& operator<<(const unsigned int& value);
    /// Appends a value to a signed column.
    BatchInserter& operator<<(const long& value);
    /// Appends a value to an unsigned column; values above INT64_MAX are stored
    /// as the signed 64-bit integer of the same bits.
    BatchInserter& operator<<(const unsigned long& value);
    /// Appends a value to a float column (bound as the double of its value).
    BatchInserter& operator<<(const float& value);
    /// Appends a value to a double column.
    BatchInserter& operator<<(const double& value);

    /// Replaces out with a copy of the collected columns.
    void GetParam(std::map<std::string, BaseTypeVector>& out) const;

  private:
    // CVORN runs the columns where they are, without a copy.
    friend class MIRAsqlDB;
    VORN_LOCAL const std::map<std::string, BaseTypeVector>& columns() const noexcept {
        return m_paramMap;
    }

    template <class T>
    VORN_LOCAL BatchInserter& append(BaseTypeVector::Type type,
                                     std::vector<T> BaseTypeVector::*column, T value, int logLine);

    std::string m_curColumn;
    std::map<std::string, BaseTypeVector> m_paramMap;
};

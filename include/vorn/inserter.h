#pragma once

/// @file
/// @brief CVORNInserter: the single-row INSERT builder with literal values.

#include <string>

#include "vorn/base.h"
#include "vorn/export.h"

/// Single-row INSERT with literal values:
/// `insert into <table>[ (<columns>)] values(<values>)`
/// Each value is rendered when it is streamed in. Note two deliberate number
/// rules: unsigned values of 4294967295 and above are written as 0, and an
/// unsigned int is written with the signed format (3000000000 -> -1294967296).
class VORN_API CVORNInserter : public CVORNBase {
  public:
    /// An inserter with no table, columns or values.
    CVORNInserter();
    ~CVORNInserter() override;

    /// Sets the table the row goes to, replacing the one named before.
    CVORNTable table(const std::string& name) override;
    /// `"insert into <table>"`, then `" (<columns>)"` if columns were named,
    /// then the values and a closing `")"`, which is written even without values
    /// (`"insert into t)"`).
    std::string toString() const override;
    /// Empties the columns and values; the table stays.
    void clear() override;

    /// Appends a column name, its single quotes doubled, to the column list
    /// (`" ("` before the first, `","` before the others). Columns and values are
    /// independent lists: a value is not tied to the column named before it.
    CVORNInserter& operator[](const std::string& column);

    /// Appends `NULL`.
    CVORNInserter& operator<<(const CVORNNull& value);
    /// Appends 1 for true, 0 for false.
    CVORNInserter& operator<<(const bool& value);
    /// Appends the character between single quotes, a quote doubled.
    CVORNInserter& operator<<(const char& value);
    /// Appends the text between single quotes, its quotes doubled.
    /// Throws std::logic_error for a null pointer (after " values(" / "," and the
    /// opening quote have been appended).
    CVORNInserter& operator<<(const char* value);
    /// Appends the text between single quotes, its quotes doubled.
    CVORNInserter& operator<<(const std::string& value);
    /// Appends the value in decimal.
    CVORNInserter& operator<<(const short& value);
    /// Appends the value in decimal.
    CVORNInserter& operator<<(const int& value);
    /// Appends the value in decimal.
    CVORNInserter& operator<<(const unsigned short& value);
    /// Appends the value with the signed format: 2147483648 to 4294967294 come
    /// out negative, 4294967295 as 0.
    CVORNInserter& operator<<(const unsigned int& value);
    /// Appends the value in decimal; 4294967295 and above as 0.
    CVORNInserter& operator<<(const unsigned long& value);
    /// Appends the value in decimal.
    CVORNInserter& operator<<(const long& value);
    /// Appends the value with `"%f"`: six decimals, no exponent.
    CVORNInserter& operator<<(const float& value);
    /// Appends the value with `"%f"`: six decimals, no exponent.
    CVORNInserter& operator<<(const double& value);

  private:
    // " values(" before the first value, "," before every later one.
    VORN_LOCAL void beginValue();

    std::string m_insertInto;
    std::string m_columns;
    std::string m_values;
};

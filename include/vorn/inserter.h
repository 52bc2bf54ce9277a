#pragma once

#include <string>

#include "vorn/base.h"
#include "vorn/export.h"

// Single-row INSERT with literal values:
//   insert into <table>[ (<columns>)] values(<values>)
// Each value is rendered when it is streamed in. Note two deliberate number
// rules: unsigned values of 4294967295 and above are written as 0, and an
// unsigned int is written with the signed format (3000000000 -> -1294967296).
class VORN_API CVORNInserter : public CVORNBase {
  public:
    CVORNInserter();
    ~CVORNInserter() override;

    CVORNTable table(const std::string& name) override;
    std::string toString() const override;
    // Empties the columns and values; the table stays.
    void clear() override;

    CVORNInserter& operator[](const std::string& column);

    CVORNInserter& operator<<(const CVORNNull& value);
    CVORNInserter& operator<<(const bool& value);
    CVORNInserter& operator<<(const char& value);
    // Throws std::logic_error for a null pointer (after " values(" / "," and the
    // opening quote have been appended).
    CVORNInserter& operator<<(const char* value);
    CVORNInserter& operator<<(const std::string& value);
    CVORNInserter& operator<<(const short& value);
    CVORNInserter& operator<<(const int& value);
    CVORNInserter& operator<<(const unsigned short& value);
    CVORNInserter& operator<<(const unsigned int& value);
    CVORNInserter& operator<<(const unsigned long& value);
    CVORNInserter& operator<<(const long& value);
    CVORNInserter& operator<<(const float& value);
    CVORNInserter& operator<<(const double& value);

  private:
    // " values(" before the first value, "," before every later one.
    VORN_LOCAL void beginValue();

    std::string m_insertInto;
    std::string m_columns;
    std::string m_values;
};

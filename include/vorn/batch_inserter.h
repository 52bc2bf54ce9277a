#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "vorn/base.h"
#include "vorn/export.h"

// One column of a batch: the type code fixed by its first value and one vector
// per type, of which only the one of m_type is used.
struct VORN_API BaseTypeVector {
    enum Type : std::uint32_t {
        TYPE_STRING = 0,
        TYPE_SIGNED = 1,
        TYPE_UNSIGNED = 2,
        TYPE_FLOAT = 3,
        TYPE_DOUBLE = 4,
    };

    Type m_type = TYPE_STRING;
    std::vector<std::string> m_strVec;
    std::vector<std::int64_t> m_longVec;
    std::vector<std::uint64_t> m_ulongVec;
    std::vector<float> m_floatVec;
    std::vector<double> m_doubleVec;
};

// Collects whole columns for one table and renders one INSERT with "{column}"
// placeholders; MIRAsqlDB::ExecBatchInserter binds the columns row by row, so
// values never enter the SQL text.
//
//   batch.table("T_ALARM");
//   batch["id"] << 1 << 2;
//   batch["name"] << std::string("a") << std::string("b");
//   db->ExecBatchInserter(batch);   // insert into T_ALARM (id, name) values({id}, {name})
//
// Columns are rendered in byte-wise order of their names, not in the order they
// were selected. bool, short, int and long share the signed column type and
// may be mixed; so may the unsigned types. A value of another type than its
// column's first value is dropped and logged with its type code.
class VORN_API BatchInserter : public CVORNBase {
  public:
    BatchInserter() = default;
    ~BatchInserter() override;

    CVORNTable table(const std::string& name) override;
    std::string toString() const override;
    // Empties the columns; the table name stays.
    void clear() override;

    // Selects the column that the following values go to.
    BatchInserter& operator[](const std::string& column);

    BatchInserter& operator<<(const bool& value);
    BatchInserter& operator<<(const std::string& value);
    // A C string is a text value (not a bool); a null pointer throws std::logic_error.
    BatchInserter& operator<<(const char* value);
    BatchInserter& operator<<(const short& value);
    BatchInserter& operator<<(const unsigned short& value);
    BatchInserter& operator<<(const int& value);
    BatchInserter& operator<<(const unsigned int& value);
    BatchInserter& operator<<(const long& value);
    BatchInserter& operator<<(const unsigned long& value);
    BatchInserter& operator<<(const float& value);
    BatchInserter& operator<<(const double& value);

    // Replaces out with a copy of the collected columns.
    void GetParam(std::map<std::string, BaseTypeVector>& out) const;

  private:
    template <class T>
    VORN_LOCAL BatchInserter& append(BaseTypeVector::Type type,
                                     std::vector<T> BaseTypeVector::*column, T value, int logLine);

    std::string m_curColumn;
    std::map<std::string, BaseTypeVector> m_paramMap;
};

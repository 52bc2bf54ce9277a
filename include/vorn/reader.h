#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "vorn/base.h"
#include "vorn/export.h"
#include "vorn/platform/data_access.h"

// Reads the rows of a query run by CVORN::execReadSQL, field by field:
//
//   while (reader.hasNextElement()) { reader >> id >> name >> nullMark >> note; }
//
// Every field arrives as text and is converted to the target's type. Empty
// fields (SQL NULL, or missing fields past the end of the row) leave a numeric
// target unchanged and set a CVORNNull given just before them; a text field of
// exactly one blank reads as "" and counts as empty. Only int and unsigned int
// understand the words TRUE/true/FALSE/false. A reader used for a second query
// must be cleared first.
namespace vorn::diag {
class PendingRead;
}

class VORN_API CVORNReader {
  public:
    CVORNReader();
    virtual ~CVORNReader();
    CVORNReader(const CVORNReader&) = delete;
    CVORNReader& operator=(const CVORNReader&) = delete;

    virtual bool operator()();
    virtual CVORNReader& operator>>(char& value);
    virtual CVORNReader& operator>>(short& value);
    virtual CVORNReader& operator>>(int& value);
    virtual CVORNReader& operator>>(unsigned int& value);
    virtual CVORNReader& operator>>(unsigned short& value);
    virtual CVORNReader& operator>>(unsigned long& value);
    virtual CVORNReader& operator>>(long& value);
    virtual CVORNReader& operator>>(float& value);
    virtual CVORNReader& operator>>(double& value);
    virtual CVORNReader& operator>>(std::string& value);
    // Fetches the next row; false at the end of the result or when unbound.
    virtual bool hasNextElement();
    // Releases the session and the row.
    virtual void clear() noexcept;

    // Binds the reader to a new session of that name, or returns the session
    // it is already bound to.
    vorn::platform::DataSession* initializeSession(const std::string& sessionName);
    // The next field of the current row, or "" when there is none.
    std::string getNextField();
    // The next extraction marks marker when its field is empty.
    CVORNReader& operator>>(CVORNNull& marker);

  private:
    friend class MIRAsqlDB;  // starts the record of each read (see <vorn/diagnostics.h>)

    // Records the read that is open, if any, as ended.
    VORN_LOCAL void endRead() noexcept;
    VORN_LOCAL bool markNullIf(bool empty);
    // Reads one field into value with convert, or marks it empty.
    template <class T, class Convert>
    VORN_LOCAL CVORNReader& extract(T& value, Convert convert);

    vorn::platform::DataSession* m_session = nullptr;
    vorn::platform::Row m_row;
    std::uint32_t m_fieldIndex = 0;
    bool m_fetched = false;
    bool* m_nullFlag = nullptr;
    std::unique_ptr<vorn::diag::PendingRead> m_read;
};

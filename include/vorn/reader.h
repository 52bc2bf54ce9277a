#pragma once

/// @file
/// @brief CVORNReader: the rows of a query, read field by field.

#include <cstdint>
#include <memory>
#include <string>

#include "vorn/base.h"
#include "vorn/export.h"
#include "vorn/platform/data_access.h"

/// @cond internal
namespace vorn::diag {
class PendingRead;
class ReadGate;
}  // namespace vorn::diag
/// @endcond

/// Reads the rows of a query run by CVORN::execReadSQL, field by field:
///
/// @code
///   while (reader.hasNextElement()) { reader >> id >> name >> nullMark >> note; }
/// @endcode
///
/// Every field arrives as text and is converted to the target's type. Empty
/// fields (SQL NULL, or missing fields past the end of the row) leave a numeric
/// target unchanged and set a CVORNNull given just before them; a text field of
/// exactly one blank reads as "" and counts as empty. Only int and unsigned int
/// understand the words TRUE/true/FALSE/false. A reader used for a second query
/// must be cleared first.
class VORN_API CVORNReader {
  public:
    /// A reader bound to no session; hasNextElement() is false until a query
    /// runs into it.
    CVORNReader();
    /// Releases the session, as clear() does.
    virtual ~CVORNReader();
    CVORNReader(const CVORNReader&) = delete;
    CVORNReader& operator=(const CVORNReader&) = delete;

    /// The same as hasNextElement().
    virtual bool operator()();
    /// The first character of the next field.
    virtual CVORNReader& operator>>(char& value);
    /// The next field read as a number by a standard string stream (leading
    /// blanks skipped; what the stream sets on a failure or overflow).
    virtual CVORNReader& operator>>(short& value);
    /// The next field as a number, as operator>>(short&) reads it; the words
    /// TRUE and true read as 1, FALSE and false as 0.
    virtual CVORNReader& operator>>(int& value);
    /// The next field as a number, as operator>>(short&) reads it; the words
    /// TRUE and true read as 1, FALSE and false as 0.
    virtual CVORNReader& operator>>(unsigned int& value);
    /// The next field as a number, as operator>>(short&) reads it.
    virtual CVORNReader& operator>>(unsigned short& value);
    /// The next field read with strtoul (base 10): text read back from a
    /// negative 64-bit integer gives the unsigned value of the same bits.
    virtual CVORNReader& operator>>(unsigned long& value);
    /// The next field read with strtol (base 10).
    virtual CVORNReader& operator>>(long& value);
    /// The next field read with strtod, as a float.
    virtual CVORNReader& operator>>(float& value);
    /// The next field read with strtod.
    virtual CVORNReader& operator>>(double& value);
    /// The next field's text; a single blank reads as "". Unlike the numeric
    /// targets, an empty field empties value.
    virtual CVORNReader& operator>>(std::string& value);
    /// Fetches the next row; false at the end of the result or when unbound.
    virtual bool hasNextElement();
    /// Releases the session and the row.
    virtual void clear() noexcept;

    /// Binds the reader to a new session of that name, or returns the session
    /// it is already bound to.
    vorn::platform::DataSession* initializeSession(const std::string& sessionName);
    /// The next field of the current row, or "" when there is none. Before the
    /// first hasNextElement() it fetches the first row itself.
    std::string getNextField();
    /// The next extraction marks marker when its field is empty.
    CVORNReader& operator>>(CVORNNull& marker);

  private:
    // The executor's one way in: it starts the record of each read (see
    // <vorn/diagnostics.h>) and ends the one before.
    friend class vorn::diag::ReadGate;

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

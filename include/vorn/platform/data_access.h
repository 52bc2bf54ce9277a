#pragma once

/// @file
/// @brief The data-access layer: sessions on the stores, results, fields and rows.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "vorn/export.h"
#include "vorn/platform/typed_ref.h"

namespace vorn {
enum class Isolation : std::uint8_t;  // <vorn/transaction.h>
}  // namespace vorn

/// @cond internal
namespace vorn::dal {
struct SessionState;
}  // namespace vorn::dal
/// @endcond

namespace vorn::platform {

/// Statement kinds, in the data-access layer's numbering.
enum class SqlKind : std::int32_t {
    Read = 0,   ///< a query whose rows are fetched with fetchRow
    Batch = 1,  ///< a statement run once per row of a parameter set
    Write = 4   ///< a statement run to completion
};

/// Marks an execution without bound parameters.
struct NoParameters {};

/// A value bound to the "{name}" placeholders of one statement; std::monostate
/// is SQL NULL.
using BoundValue =
    std::variant<std::monostate, std::string, std::int64_t, std::uint64_t, float, double>;
/// One named value of a statement.
struct BoundParameter {
    std::string name;  ///< the placeholder's name, without the braces
    BoundValue value;  ///< the value bound to it
};
/// The values of one statement, each name once.
using BoundParameters = std::vector<BoundParameter>;

/// Outcome of a data-access call: outcome 0 is success; otherwise errorCode()
/// is the store's (or the adapter's) code and detail() its message, if any.
class VORN_API_RESULT ExecResult {
  public:
    /// A success: outcome 0, code 0, no detail, no rows.
    ExecResult() = default;
    /// A failure (outcome 1) with that code and message.
    static ExecResult failure(std::uint64_t code, std::string detail);
    /// A failure (outcome 1) with that code and no message.
    static ExecResult failureWithoutDetail(std::uint64_t code);

    /// 0 for success, 1 for a failure.
    std::int32_t outcome() const noexcept { return m_outcome; }
    /// Whether the call succeeded (outcome 0).
    bool ok() const noexcept { return m_outcome == 0; }
    /// The failure's code; 0 for a success.
    std::uint64_t errorCode() const noexcept { return m_code; }
    /// The failure's message, if it has one.
    const std::optional<std::string>& detail() const noexcept { return m_detail; }
    /// The rows a successful write or batch changed, as the store counts them
    /// (0 when it does not say).
    std::uint64_t rows() const noexcept { return m_rows; }
    /// Sets the count rows() returns.
    void setRows(std::uint64_t rows) noexcept { m_rows = rows; }

  private:
    std::int32_t m_outcome = 0;
    std::uint64_t m_code = 0;
    std::optional<std::string> m_detail;
    std::uint64_t m_rows = 0;
};

/// One field of a fetched row, as text. NULL reads as the empty text.
///
/// A row fetched for a target flagged kFlagNumbersAsValues may also hold
/// integers and reals as the store holds them, without their text (see kind()).
class VORN_API FieldValue {
  public:
    /// What a field holds.
    enum class Kind : std::uint8_t {
        Text,     ///< text (str())
        Integer,  ///< a 64-bit integer (integer()); str() is empty
        Real      ///< a double (real()); str() is empty
    };

    /// An empty field.
    FieldValue() = default;
    /// A field holding text.
    explicit FieldValue(std::string text) : m_text(std::move(text)) {}

    /// The field's text.
    const std::string& str() const noexcept { return m_text; }
    /// A copy of the field's text.
    operator std::string() const { return m_text; }  // NOLINT(google-explicit-constructor)
    /// Hands the text out, leaving the field empty.
    std::string take() noexcept { return std::move(m_text); }
    /// Replaces the text with size bytes from data (NUL bytes included).
    void assign(const char* data, std::size_t size) {
        m_kind = Kind::Text;
        m_text.assign(data, size);
    }
    /// Replaces the text.
    void assign(std::string text) noexcept {
        m_kind = Kind::Text;
        m_text = std::move(text);
    }
    /// Empties the text.
    void clear() noexcept {
        m_kind = Kind::Text;
        m_text.clear();
    }

    /// Makes the field hold an integer, without text.
    void setInteger(std::int64_t value) noexcept {
        m_kind = Kind::Integer;
        m_integer = value;
        m_text.clear();
    }
    /// Makes the field hold a double, without text.
    void setReal(double value) noexcept {
        m_kind = Kind::Real;
        m_real = value;
        m_text.clear();
    }
    /// What the field holds.
    Kind kind() const noexcept { return m_kind; }
    /// The integer of a field of kind Integer.
    std::int64_t integer() const noexcept { return m_integer; }
    /// The double of a field of kind Real.
    double real() const noexcept { return m_real; }

  private:
    std::string m_text;
    std::int64_t m_integer = 0;
    double m_real = 0;
    Kind m_kind = Kind::Text;
};

/// One fetched row: a field per column, in the order of the columns.
using Row = std::vector<FieldValue>;

/// The identifier under which the layer records a statement:
/// `"source:function:line"`, a null name taken as empty.
VORN_API std::string makeStatementId(const char* sourceName, const char* functionName, int line);

/// A session on the store bound to a session name (see vorn/datasource.h).
///
/// Each thread keeps one open connection per session name and reuses it, so
/// opening a session costs no connect; the connection is taken at the first
/// call that needs it. Transaction state belongs to the session name and the
/// calling thread: begin on one DataSession, execute on others and commit or
/// roll back on a third, all on the same thread, form one transaction; other
/// threads are not affected. A result opened by a read stays with this object
/// (for fetchRow) and does not block writes on the same name and thread. A
/// DataSession is used on the thread that made it.
///
/// Errors: a failed call returns the store's own code and message (for SQLite
/// the extended result code, e.g. 1 for a syntax error or a missing table, 8
/// for a read-only database, 14 for a file that cannot be opened, 2067 for a
/// UNIQUE violation, with sqlite3_errmsg as the detail), or one of the codes
/// of vorn/platform/error_codes.h for the layer's own refusals. Commit or
/// rollback without a transaction returns the store's error as it is.
class VORN_API DataSession {
  public:
    /// A session on the store bound to sessionName; nothing is connected yet.
    explicit DataSession(const char* sessionName);
    /// Closes the result still open on this object, if any.
    ~DataSession();
    DataSession(const DataSession&) = delete;
    DataSession& operator=(const DataSession&) = delete;

    /// Opens the transaction of this session name on the calling thread. One
    /// already open is an error on SQLite; PostgreSQL only warns, so the call
    /// succeeds (and an information line is logged).
    ExecResult beginTransaction();
    /// The same at an isolation level (see vorn::Isolation for what each
    /// store runs).
    ExecResult beginTransaction(vorn::Isolation isolation);
    /// Commits the transaction of this session name on the calling thread.
    /// Without one, SQLite returns its error; PostgreSQL only warns, so the
    /// call succeeds (and an information line is logged). On a connection
    /// already known lost (a call met the loss, or it was found closed while
    /// idle) it fails at once with the store's code of a lost connection
    /// (ErrorCategory::ConnectionLost; SQLSTATE 08006 on PostgreSQL), and no
    /// new connection is opened.
    ExecResult commit();
    /// Rolls back the transaction of this session name on the calling thread;
    /// without one, as commit(). On a lost connection it succeeds at once,
    /// without opening a new one: the store rolled the transaction back when
    /// the connection went.
    ExecResult rollback();

    /// Runs exactly one statement; text holding a second statement after the
    /// first (anything but blanks, ';' and comments) is refused with
    /// errc::kMultipleStatements and nothing runs. For SqlKind::Read the rows
    /// become available to fetchRow (the first row is already fetched, so
    /// errors show here); other kinds run the statement to completion. Any
    /// result still open on this object is closed first. statementId is for
    /// diagnostics (see makeStatementId).
    ExecResult execute(const std::string& statementId, SqlKind kind, const std::string& sql,
                       NoParameters none);
    /// Runs a statement whose "{key}" placeholders are bound from parameters, a
    /// reference (code 101) to a ParamRefMap of column references (code 61),
    /// once per row (row i binds element i of every column), all rows
    /// atomically: inside the transaction open on this name and thread if there
    /// is one, else in a transaction of its own; after a failure at any row no
    /// row of the batch remains, and the store's code and message are returned.
    /// A placeholder is "{" + a key of the map, exactly + "}" outside quoted
    /// text and comments; one naming no column is refused with
    /// errc::kUnknownPlaceholder. Columns are read through their container
    /// records; element types: string (bound as text with its length), signed
    /// and unsigned 64-bit integers, float (bound as the double of its value)
    /// and double. An unsigned value above INT64_MAX is stored as the signed
    /// 64-bit integer of the same bits (2^64 - 1 as -1); reading the text back
    /// with strtoul gives the original value. Columns of unequal length, an
    /// empty map, other element types or kind SqlKind::Read are refused with
    /// errc::kBadParameters; nothing runs then.
    ExecResult execute(const std::string& statementId, SqlKind kind, const std::string& sql,
                       const TypedRef& parameters);

    /// Runs one statement whose "{name}" placeholders take the values of
    /// parameters, bound by the store (never written into the text), as a read
    /// (rows for fetchRow) or a write, as execute with NoParameters does. A
    /// name is ASCII letters, digits and '_'. Refused with nothing run:
    /// a placeholder with no value (errc::kUnknownPlaceholder), a value whose
    /// name the text does not hold (errc::kUnusedParameter), a '{' outside
    /// quoted text and comments that makes no placeholder or a parameter
    /// marker of the store's own (errc::kMalformedPlaceholder), a second
    /// statement (errc::kMultipleStatements), kind SqlKind::Batch
    /// (errc::kBadParameters). Values are bound as for a batch (above), NULL
    /// as NULL.
    ExecResult execute(const std::string& statementId, SqlKind kind, const std::string& sql,
                       const BoundParameters& parameters);
    /// Replaces the Row referenced by rowTarget (code 105) with the next row of
    /// the last read: one FieldValue per column, reusing the Row's storage.
    /// Text forms: NULL is the empty text, integers are decimal, floating-point
    /// values the shortest text that reads back (strtod) to the same double,
    /// text and blobs their bytes as stored; with kFlagNumbersAsValues on the
    /// target's descriptor, integers and floating-point values the store holds
    /// as such come as FieldValue::Kind::Integer and Kind::Real instead of
    /// their text. False at the end of the result
    /// (status success) or on failure (status set; errc::kNoResult when no read
    /// ran on this object, errc::kBadParameters for a wrong rowTarget).
    /// maxRows is accepted for the platform's signature and not used: each
    /// call hands out one row (inside a transaction the PostgreSQL backend
    /// fetches up to its URL's vorn_fetch_rows rows per round trip, whatever
    /// maxRows is).
    bool fetchRow(ExecResult& status, const TypedRef& rowTarget, int maxRows);

    /// The session name given to the constructor.
    const std::string& sessionName() const noexcept;

  private:
    std::unique_ptr<dal::SessionState> m_state;  // the library's own state of the session
};

}  // namespace vorn::platform

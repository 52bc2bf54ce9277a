#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "exec/dal/error_class.h"
#include "vorn/platform/data_access.h"
#include "vorn/transaction.h"

// What a data-access backend provides. The core (sessions, data-source
// bindings, the per-thread connection cache, batch parameters) is the same
// for every store; a backend adds the store behind one URL scheme or more.
// See README.md in this folder for the checklist of a new backend.
namespace vorn::dal {

class BatchParameters;

// The open result of a read. It belongs to the DataSession that ran the read
// and is used on that session's thread only; it may outlive neither its
// connection's process nor (through shared ownership) its connection.
class Cursor {
  public:
    virtual ~Cursor() = default;

    // Replaces row with the next row of the result, resizing it to the number
    // of columns and reusing its storage. Returns false at the end of the
    // result (status left as success) or on failure (status set; the cursor
    // is then at its end).
    //
    // The text form of a field, the same on every store: NULL is the empty
    // text; integers are decimal; floating-point values are the shortest text
    // that reads back (strtod) to the same double; booleans "true" / "false";
    // texts and blobs are their bytes as stored; anything else the store's
    // own text output. A value the store holds as a 64-bit integer or a
    // double may instead be handed as that number (FieldValue::setInteger,
    // setReal), which renderNumber (field_text.h) turns into exactly that
    // text when the caller asks for text.
    virtual bool fetch(platform::Row& row, platform::ExecResult& status) = 0;
};

// One open connection to a store, kept by the connection cache for one thread
// and session name, and used by that thread only.
//
// Errors: every failed operation returns the store's own code and message
// (with no secret of the connection in it; the executor's log lines are
// scrubbed to one line in any case), or one of the
// codes of vorn/platform/error_codes.h for the layer's own refusals:
// errc::kMultipleStatements for text holding a second statement (nothing
// runs), errc::kUnknownPlaceholder and errc::kBadParameters for batches and
// bound statements, errc::kUnusedParameter and errc::kMalformedPlaceholder
// for bound statements.
class Connection {
  public:
    virtual ~Connection() = default;

    // Transaction control. A transaction belongs to this connection, i.e. to
    // the session name and thread; commit or rollback without a transaction
    // gives the store's answer as it is. begin runs the store's nearest level
    // to isolation (see vorn::Isolation).
    virtual platform::ExecResult begin(Isolation isolation) = 0;
    virtual platform::ExecResult commit() = 0;
    virtual platform::ExecResult rollback() = 0;

    // Runs one statement to completion, discarding any rows it returns.
    // Inside a transaction a failing statement undoes only itself.
    virtual platform::ExecResult execute(const std::string& sql) = 0;
    // Runs one statement as a read; on success cursor holds its rows (null for
    // text holding no statement). Errors of the first row show here. Reads
    // left open do not block other calls on the same connection.
    virtual platform::ExecResult query(const std::string& sql, std::unique_ptr<Cursor>& cursor) = 0;
    // The same two with the statement's "{name}" placeholders bound to
    // parameters by the store (see DataSession::execute with
    // BoundParameters for the refusals); repeated texts reuse the store's
    // prepared form where that needs no state on the server.
    virtual platform::ExecResult executeBound(const std::string& sql,
                                              const platform::BoundParameters& parameters) = 0;
    virtual platform::ExecResult queryBound(const std::string& sql,
                                            const platform::BoundParameters& parameters,
                                            std::unique_ptr<Cursor>& cursor) = 0;
    // Runs one statement with "{key}" placeholders once per row of
    // parameters, all rows or none: inside the open transaction (a failure
    // undoes the batch's rows only) or in one of its own. BatchParameters
    // finds the placeholders with the backend's SqlDialect and walks the rows.
    virtual platform::ExecResult executeBatch(const std::string& sql,
                                              const BatchParameters& parameters) = 0;

    // False once the connection is known to be unusable (e.g. the server went
    // away); the connection cache then opens a new one at the next use.
    virtual bool usable() const { return true; }
    // Asked by the connection cache before it hands out a connection that has
    // been idle (no session holds it): false when the store is found to have
    // closed it meanwhile (a server restart, an administrator, a middlebox's
    // idle timeout), and usable() is false from then on. Cheap (no round
    // trip), as it may be asked once a second; a store without a server
    // keeps the default.
    virtual bool stillOpen() { return true; }
    // A store kept in a file: true once the file at the connection's path is
    // no longer the one the connection opened (deleted, or another file
    // renamed over it, as a restore from a backup does), and usable() is
    // false from then on. Asked before every call that may write outside a
    // transaction, so that no write is acknowledged into a file nobody will
    // read again: it may cost a stat(), no more. A store with a server keeps
    // the default.
    virtual bool fileReplaced() { return false; }
    // The descriptor of the connection's socket to its server; -1 for a store
    // without a server, and once the connection is lost. Closing a connection
    // under a connection budget, the cache watches it to give the place back
    // only once the server has ended its side too, so that the server never
    // counts more connections than the budget.
    virtual int serverSocket() const { return -1; }
    // Whether a transaction is open, begun by begin() or by a statement; the
    // connection cache never closes a connection while one is.
    virtual bool inTransaction() const = 0;

    // How many sessions hold the connection (see ConnectionLease). Entered
    // under the connection cache's lock; the acquire load pairs with the
    // release of the last session to leave, so whoever sees zero may use and
    // close the connection from another thread.
    void enterSession() noexcept { m_sessions.fetch_add(1, std::memory_order_relaxed); }
    void leaveSession() noexcept { m_sessions.fetch_sub(1, std::memory_order_release); }
    bool heldBySession() const noexcept { return m_sessions.load(std::memory_order_acquire) != 0; }

  private:
    std::atomic<int> m_sessions{0};
};

// A backend, chosen by the scheme of a data-source URL.
struct Backend {
    // Matched without regard to case; the first one names the backend.
    std::vector<std::string_view> schemes;
    // The store's name as the manual writes it ("SQLite").
    std::string_view title;
    // Checks a URL of one of the schemes without connecting; false with a
    // problem text (free of secrets) when it is malformed.
    bool (*check)(const std::string& url, std::string& problem);
    // Opens a connection; null with status set when that fails (the next
    // call tries again).
    std::unique_ptr<Connection> (*connect)(const std::string& url, platform::ExecResult& status);
    // Sorts a failure this backend returned (the store's code, and its
    // message) into its category and SQLSTATE (error_class.h); the layer's
    // own errc codes never reach it.
    ErrorClass (*classify)(std::uint64_t code, std::string_view message);
    // The table classify applies, row by row, for the manual.
    std::vector<ErrorRow> (*errorRows)();
    // Whether the process's exit closes the idle connections of every thread
    // (its own thread's close with the thread in any case): a store kept in a
    // file may have work to do at the close of its last connection (SQLite
    // folds its write-ahead log back into the file). A server's connections
    // end with the process anyway, and closing them from an exit handler could
    // meet a library whose own exit handler has already run (OpenSSL's).
    bool closedAtExit = false;
};

// Every backend of this build, in the order the build lists them. The list is
// generated from the backend folders the build includes (see CMakeLists.txt):
// each provides a function "const Backend& <name>Backend()".
const std::vector<const Backend*>& compiledBackends();

// The refusal of text that holds more than one statement (errc::kMultipleStatements).
platform::ExecResult secondStatementRefused();

// The backend for scheme, or null when no backend of this build handles it.
const Backend* findBackend(std::string_view scheme);

// The schemes handled, for error texts: "sqlite, ...".
std::string knownSchemes();

}  // namespace vorn::dal

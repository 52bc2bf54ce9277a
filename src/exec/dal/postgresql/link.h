#pragma once

#include <libpq-fe.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "exec/dal/postgresql/result.h"
#include "exec/dal/postgresql/settings.h"
#include "exec/dal/transaction_scope.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

class PgCopyStream;
class PgPipeline;

// The text parameters of one command ($1, $2, ...); a null value is NULL.
struct PgParams {
    int count = 0;
    const char* const* values = nullptr;
    const int* lengths = nullptr;
};

// Queues the commands of a unit; a failure makes runUnit undo the unit and
// return it.
using PgFill = std::function<platform::ExecResult(PgPipeline&)>;
// Sees the pipeline of a unit that succeeded, to take its results.
using PgCollect = std::function<void(PgPipeline&)>;
// Writes the rows of a COPY; a failure makes runCopy cancel it and return it.
using PgCopyFeed = std::function<platform::ExecResult(PgCopyStream&)>;

// A read whose rows are still coming in on the connection (PgStream). Before
// the link sends anything else, it has the read take the rest of its rows in.
class PgIncoming {
  public:
    // Reads every result left of the read, through PgLink::nextIncoming, up
    // to the null one that frees the connection.
    virtual void takeRest() = 0;

  protected:
    PgIncoming() = default;
    ~PgIncoming() = default;
    PgIncoming(const PgIncoming&) = default;
    PgIncoming& operator=(const PgIncoming&) = default;
};

// One libpq connection: the wire that PgConnection, the read path (PgReads),
// the batch writer and the cursors of open reads all talk through, and that
// talks to none of them. It runs units of work (one pipeline, one round trip
// each) and COPYs, holds at most one command whose answer is still to come,
// and turns failures into results.
//
// A read may stream on the connection (sendStreamed): its rows come in one by
// one as its reader asks for them, and any other use of the link (settle(),
// which every unit, COPY and command sent ahead goes through) first has that
// read take the rest of its rows into memory.
//
// Every statement goes through the extended query protocol, which runs
// exactly one statement per text: a second one is refused by the server with
// SQLSTATE 42601, reported as errc::kMultipleStatements.
//
// Every unit runs in the session mode the library's quoting assumes
// (standard_conforming_strings on, client encoding UTF8; see session_mode.h):
// the connection is put in it when it opens, and put back (one round trip)
// before a unit when a statement of the caller's changed it.
//
// A connection lost to a server restart or a network fault is detected at the
// call that meets it: that call fails (the detail says so, and that an open
// transaction was rolled back), and the link reports itself broken so the
// connection cache opens a new one at the next call.
class PgLink {
  public:
    using Scope = TransactionScope::Kind;

    // Connects; null with status set on failure (code of SQLSTATE 08001).
    // secrets are masked out of every error text.
    static std::shared_ptr<PgLink> open(const PgSettings& settings,
                                        std::vector<std::string> secrets,
                                        platform::ExecResult& status);
    // A new connection with the settings and secrets of this one.
    std::shared_ptr<PgLink> reopen(platform::ExecResult& status) const;
    ~PgLink();
    PgLink(const PgLink&) = delete;
    PgLink& operator=(const PgLink&) = delete;

    bool broken() const noexcept { return m_broken; }
    const PgSettings& settings() const noexcept { return m_settings; }
    PGTransactionStatusType transactionStatus() const { return PQtransactionStatus(m_conn); }
    bool inTransaction() const;

    // Every transaction open on the connection is the caller's: the library
    // keeps none of its own past a call.
    bool callerTransactionOpen() const { return inTransaction(); }

    // The scope for one statement of the caller's: a savepoint inside the
    // caller's transaction (vorn_statement_rollback), so that a failure undoes
    // only the statement, except for transaction control statements.
    Scope statementScope(std::string_view sql) const;
    // The scope for a unit of the library's own work: a savepoint inside the
    // caller's transaction, otherwise outside.
    Scope unitScope(Scope outside) const {
        return callerTransactionOpen() ? Scope::Savepoint : outside;
    }

    // Runs the commands fill() queues as one pipeline, made one unit as scope
    // says. collect() sees the pipeline after success. sql is the caller's
    // statement, for the error.
    platform::ExecResult runUnit(Scope scope, const PgFill& fill, const PgCollect& collect,
                                 std::string_view sql);
    // runUnit of one command, with params bound to its $n; kept, when
    // given, receives its result.
    platform::ExecResult runOne(Scope scope, const std::string& sql, PgResult* kept = nullptr,
                                const PgParams& params = {});
    // Runs copySql (COPY ... FROM STDIN) with the rows feed() writes, inside a
    // savepoint when the caller's transaction is open (a COPY is atomic by
    // itself otherwise). sql is the caller's statement, for the error.
    platform::ExecResult runCopy(const std::string& copySql, const PgCopyFeed& feed,
                                 std::string_view sql);
    platform::ExecResult lostFailure() const;

    // Sends a command without waiting for its answer. With an empty tag the
    // answer is read and thrown away by the next call; otherwise it is kept
    // for takeAhead(tag). One kept answer at a time: false (nothing sent)
    // while another tag's answer waits.
    bool sendAhead(const std::string& sql, const std::string& tag);
    // Reads the answer of a command sent ahead, if one is due, and has a read
    // still streaming take the rest of its rows in, so that the connection is
    // free.
    void settle();

    // Sends sql (with params bound to its $n) as a read in single-row mode;
    // owner then takes its results through nextIncoming(), one row each, up to
    // the null one. sql is also the statement for errors (streamFailure).
    platform::ExecResult sendStreamed(const std::string& sql, const PgParams& params,
                                      PgIncoming* owner);
    // Whether owner's read is the one still coming in.
    bool incomingFrom(const PgIncoming* owner) const noexcept {
        return owner != nullptr && m_incoming == owner;
    }
    bool streaming() const noexcept { return m_incoming != nullptr; }
    // The next result of the streamed read (waits for it); null at its end,
    // and the connection is free again.
    PgResult nextIncoming();
    // Asks the server to stop the streamed read; its results are still to be
    // read up to the null one.
    void cancelIncoming();
    // The failure a result of the streamed read reports (a lost connection
    // makes the link broken).
    platform::ExecResult streamFailure(const PGresult* failure, std::string_view sql);
    // The kept answer for tag: true with its result (or its failure in
    // status) when there is one. dropAhead forgets it.
    bool takeAhead(const std::string& tag, PgResult& result, platform::ExecResult& status);
    void dropAhead(const std::string& tag);

  private:
    PgLink(PGconn* conn, const PgSettings& settings, std::vector<std::string> secrets);

    platform::ExecResult failureOf(const PGresult* failure, bool connectionFailed,
                                   std::string_view sql, bool callerTransaction);
    platform::ExecResult feedCopy(const PgCopyFeed& feed, bool& sent, PgResult& result);
    platform::ExecResult runControl(const char* sql);
    void endIncoming();
    // Readies the connection for the next unit: not lost, free of answers
    // and rows still to come (settle), in the mode of session_mode.h.
    platform::ExecResult readyToSend();
    // Puts the session back in the mode of session_mode.h when it left it.
    platform::ExecResult keepSessionMode();
    TransactionScope::Run controlRunner();

    // The answer of a command sent ahead with a tag.
    struct Ahead {
        std::string tag;
        PgResult result;
        platform::ExecResult status;
        bool callerTransaction = false;  // when it was sent
    };
    enum class Wire { Free, Discard, Keep };

    PGconn* m_conn;
    PgSettings m_settings;
    std::vector<std::string> m_secrets;
    bool m_broken = false;
    Wire m_wire = Wire::Free;          // what the answer on its way is for
    Ahead m_ahead;                     // tag empty: none
    PgIncoming* m_incoming = nullptr;  // the read streaming on the wire
};

}  // namespace vorn::dal

#pragma once

#include <libpq-fe.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "exec/dal/postgresql/function_ref.h"
#include "exec/dal/postgresql/params.h"
#include "exec/dal/postgresql/result.h"
#include "exec/dal/postgresql/settings.h"
#include "exec/dal/postgresql/statement_kind.h"
#include "exec/dal/transaction_scope.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

class PgCopyStream;
class PgPipeline;
class PgTakenRows;

using PgScope = TransactionScope::Kind;

// Queues the commands of a unit; a failure makes runUnit undo the unit and
// return it.
using PgFill = PgFunctionRef<platform::ExecResult(PgPipeline&)>;
// Sees the pipeline of a unit that succeeded, to take its results.
using PgCollect = PgFunctionRef<void(PgPipeline&)>;
// Writes the rows of a COPY; a failure makes runCopy cancel it and return it.
using PgCopyFeed = PgFunctionRef<platform::ExecResult(PgCopyStream&)>;

// One libpq connection: the wire that PgConnection, the read path (PgReads),
// the streamed reads (PgStream) and the batch path (PgBatchWriter,
// PgBatchPlanner) talk through, and that calls none of them. It runs units of
// work (one pipeline, one round trip each) and COPYs, and turns failures into
// results.
//
// Each of those parts works on the link through a gate of its own (gates.h),
// which shows it only what it uses; the link has no other public member. Every
// part that works on a link shares its ownership: the cursors of open reads
// keep the link they were opened on after the connection moved to a new one.
//
// Between two calls at most one thing occupies the wire (Occupant): the answer
// of a command sent ahead, or a read whose rows are still coming in
// (sendStreamed): they come one by one as its reader asks for them. Any other
// use of the link first settles the wire: the answer is read, and the streamed
// read's rest is taken into the read's PgTakenRows, from which its reader goes
// on.
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
    // Connects; null with status set on failure (see pgConnect).
    // secrets are masked out of every error text.
    static std::shared_ptr<PgLink> open(const PgSettings& settings,
                                        std::vector<std::string> secrets,
                                        platform::ExecResult& status);
    ~PgLink();
    PgLink(const PgLink&) = delete;
    PgLink& operator=(const PgLink&) = delete;

  private:
    friend class PgConnectionGate;
    friend class PgReadsGate;
    friend class PgStreamGate;
    friend class PgBatchGate;
    friend class PgPlannerGate;

    PgLink(PGconn* conn, const PgSettings& settings, std::vector<std::string> secrets);

    // A new connection with the settings and secrets of this one.
    std::shared_ptr<PgLink> reopen(platform::ExecResult& status) const;

    bool broken() const noexcept { return m_broken; }
    // Whether the connection, idle between two calls, is still open: false
    // (and broken from then on) when the server closed it; its socket, -1
    // once broken (link_idle.cpp).
    bool stillOpen();
    int socket() const noexcept;
    const PgSettings& settings() const noexcept { return m_settings; }
    PGTransactionStatusType transactionStatus() const { return PQtransactionStatus(m_conn); }
    // Every transaction open on the connection is the caller's: the library
    // keeps none of its own past a call.
    bool callerTransactionOpen() const;

    // The scope for one statement of the caller's: a savepoint inside the
    // caller's transaction (vorn_statement_rollback), so that a failure undoes
    // only the statement, except for transaction control statements.
    PgScope statementScope(PgStatementKind kind) const;
    // The scope for a unit of the library's own work: a savepoint inside the
    // caller's transaction, otherwise outside.
    PgScope unitScope(PgScope outside) const {
        return callerTransactionOpen() ? PgScope::Savepoint : outside;
    }

    // Runs the commands fill() queues as one pipeline, made one unit as scope
    // says. collect() (may be empty) sees the pipeline after success. sql is
    // the caller's statement, for the error.
    platform::ExecResult runUnit(PgScope scope, PgFill fill, PgCollect collect,
                                 std::string_view sql);
    // runUnit of one command, with params bound to its $n; kept, when
    // given, receives its result.
    platform::ExecResult runOne(PgScope scope, const std::string& sql, PgResult* kept = nullptr,
                                const PgParams& params = {});
    // Runs copySql (COPY ... FROM STDIN) with the rows feed() writes, inside a
    // savepoint when the caller's transaction is open (a COPY is atomic by
    // itself otherwise). sql is the caller's statement, for the error.
    platform::ExecResult runCopy(const std::string& copySql, PgCopyFeed feed, std::string_view sql);
    platform::ExecResult lostFailure() const;
    // The failure of a call that ended before the server answered sql (see
    // bounded_wait.h): the connection is given up, and the outcome is in
    // doubt where the statement may have committed.
    platform::ExecResult gaveUpFailure(std::string_view sql, bool callerTransaction);
    void giveUp();
    // The next result, waited for within the call's bound; null at the end
    // of the results, and when the call gave up on the server.
    PGresult* awaitResult();

    // Readies the connection for any call: the failure of a lost connection,
    // else the wire settled (see drain), so that the transaction state is the
    // caller's. The one way every part settles the connection.
    platform::ExecResult settle();

    // Sends a command without waiting for its answer. With an empty tag the
    // answer is read and thrown away by the next call; otherwise it is kept
    // for takeAhead(tag). One kept answer at a time: false (nothing sent)
    // while another tag's answer waits.
    bool sendAhead(const std::string& sql, const std::string& tag);
    // The kept answer for tag: true with its result (or its failure in
    // status) when there is one. dropAhead forgets it.
    bool takeAhead(const std::string& tag, PgResult& result, platform::ExecResult& status);
    void dropAhead(const std::string& tag);

    // Sends sql (with params bound to its $n) as a read in single-row mode;
    // its reader then takes its results through receive(), a row each, up to
    // the end. Should the wire be wanted before that, the rest goes into rest.
    // sql is also the statement for errors.
    platform::ExecResult sendStreamed(const std::string& sql, const PgParams& params,
                                      PgTakenRows* rest);
    // Whether the read that keeps its rest in rest is the one still coming in.
    bool incomingFrom(const PgTakenRows* rest) const noexcept {
        return rest != nullptr && m_occupant == Occupant::StreamedRead && m_incoming == rest;
    }
    bool streaming() const noexcept { return m_occupant == Occupant::StreamedRead; }
    // Reads the next result of the streamed read: true with a row, false at
    // its end (the connection free again) or on failure (status).
    bool receive(PgResult& row, platform::ExecResult& status);
    // The next result of the streamed read (waits for it); null at its end,
    // and the connection is free again.
    PgResult nextIncoming();
    // Asks the server to stop the streamed read; its results are still to be
    // read up to the null one.
    void cancelIncoming();

    // The failure of sql: the server's, or the connection's when it was lost
    // (08007, in doubt, when a COMMIT of the caller's transaction had gone out
    // and no answer came).
    platform::ExecResult failureOf(const PGresult* failure, bool connectionFailed,
                                   std::string_view sql, bool callerTransaction);
    static bool serverAnswered(const PGresult* failure);
    platform::ExecResult feedCopy(PgCopyFeed feed, bool& sent, PgResult& result);
    platform::ExecResult runControl(const char* sql);
    // Readies the connection for the next unit: settled, in the mode of
    // session_mode.h.
    platform::ExecResult readyToSend();
    // Puts the session back in the mode of session_mode.h when it left it.
    platform::ExecResult keepSessionMode();
    TransactionScope::Run controlRunner();
    // Frees the wire of what occupies it: reads the answer of a command sent
    // ahead, or has the streamed read's rest taken in.
    void drain();
    void readAnswer();
    void takeRest();
    // Reads the rest of the streamed read's results after its last row.
    void finishIncoming(PgResult last, platform::ExecResult& status);
    void endIncoming();

    // The answer of a command sent ahead with a tag.
    struct Ahead {
        std::string tag;
        PgResult result;
        platform::ExecResult status;
        bool callerTransaction = false;  // when it was sent
    };
    // What has the wire until its results are read: the connection has one
    // user at a time.
    enum class Occupant { None, DiscardedAnswer, KeptAnswer, StreamedRead };

    PGconn* m_conn;
    PgSettings m_settings;
    std::vector<std::string> m_secrets;
    bool m_broken = false;
    bool m_gaveUp = false;  // a call ended with the server's answer owed
    Occupant m_occupant = Occupant::None;
    Ahead m_ahead;                      // tag empty: none
    PgTakenRows* m_incoming = nullptr;  // StreamedRead: where its rest goes
    std::string m_incomingSql;          // StreamedRead: its statement, for errors
};

}  // namespace vorn::dal

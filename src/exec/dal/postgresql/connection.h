#pragma once

#include <memory>
#include <string>

#include "exec/dal/backend.h"
#include "exec/dal/postgresql/batch_writer.h"
#include "exec/dal/postgresql/gates.h"
#include "exec/dal/postgresql/reads.h"
#include "exec/dal/postgresql/settings.h"

namespace vorn::dal {

// A connection to a PostgreSQL server, as the thread's connection cache keeps
// it (one per thread and session name). It holds its wire (PgLink, through
// its gate) and the parts that work on it: the read path, shared with the
// cursors of open reads, and the batch writer. Every call first settles the
// link (a read still streaming on the connection takes the rest of its rows
// in, the answer of a command sent ahead is read), so it meets exactly the
// caller's state. A statement is classified once per call (PgStatementKind),
// and the kind goes down to the parts that need it.
//
// Inside the caller's transaction each statement runs in a savepoint
// (vorn_statement_rollback, on by default), so a failing statement undoes only
// itself and the transaction goes on, as on SQLite.
//
// A read that meets a lost connection runs once more on a new one when that is
// safe: outside the caller's transaction, a statement that streams or reads
// through a cursor (not one read whole, which may write and commit), and
// before any row reached the caller. Nothing else is tried again.
class PgConnection final : public Connection {
  public:
    // Connects with settings; url (as bound) tells which secrets to keep out
    // of error texts. Null with status set on failure.
    static std::unique_ptr<PgConnection> open(const PgSettings& settings, const std::string& url,
                                              platform::ExecResult& status);

    // BEGIN, COMMIT and ROLLBACK go to the server whatever the state, and get
    // its answer: misplaced ones (BEGIN inside a transaction, COMMIT or
    // ROLLBACK outside one) succeed with a warning there.
    platform::ExecResult begin(Isolation isolation) override;
    platform::ExecResult commit() override;
    platform::ExecResult rollback() override;
    platform::ExecResult execute(const std::string& sql) override;
    platform::ExecResult query(const std::string& sql, std::unique_ptr<Cursor>& cursor) override;
    // A bound statement goes out as one unnamed statement with its values
    // as parameters (PgBoundValues): nothing of it stays on the server.
    platform::ExecResult executeBound(const std::string& sql,
                                      const platform::BoundParameters& parameters) override;
    platform::ExecResult queryBound(const std::string& sql,
                                    const platform::BoundParameters& parameters,
                                    std::unique_ptr<Cursor>& cursor) override;
    platform::ExecResult executeBatch(const std::string& sql,
                                      const BatchParameters& parameters) override;
    bool usable() const override { return !m_link.broken(); }
    // Whether the server sent nothing while the connection was idle: a
    // connection the server ended (or a middlebox cut) is readable then.
    bool stillOpen() override { return m_link.stillOpen(); }
    int serverSocket() const override { return m_link.socket(); }
    // The caller's transaction; the read path's own closes with its reads.
    bool inTransaction() const override { return m_link.callerTransactionOpen(); }

  private:
    explicit PgConnection(const std::shared_ptr<PgLink>& link)
        : m_link(link), m_reads(std::make_shared<PgReads>(link)), m_batchWriter(link) {}

    platform::ExecResult control(const char* sql, PgResult* kept = nullptr);
    platform::ExecResult write(const std::string& sql, const PgParams& params);
    platform::ExecResult read(const std::string& sql, const PgParams& params,
                              std::unique_ptr<Cursor>& cursor);
    platform::ExecResult openRead(const std::string& sql, PgStatementKind kind,
                                  const PgParams& params, std::unique_ptr<Cursor>& cursor);
    // Moves to a new connection; the cursors of reads still open keep the
    // lost one, and fail on it. False (nothing changed) when connecting fails.
    bool reconnect();

    PgConnectionGate m_link;
    std::shared_ptr<PgReads> m_reads;
    PgBatchWriter m_batchWriter;
};

}  // namespace vorn::dal

#pragma once

/// @file
/// @brief The database objects that run statements: CVORN, MIRAsqlDB, GuardDB.

#include <string>

#include "vorn/base.h"
#include "vorn/export.h"
#include "vorn/transaction.h"

class CVORNReader;
class BatchInserter;

/// The database interface. Every call returns an error code: 0 success, 1 the
/// library's own refusal (empty statement, reader not bound, mismatched batch
/// columns), anything else the data-access layer's code (see
/// vorn/platform/error_codes.h).
class VORN_API CVORN {
  public:
    /// Opens a transaction on the calling thread's session; the calls after it
    /// on the same thread and session name belong to it until commit or rollback.
    virtual unsigned long beginTransaction() = 0;
    /// Commits the calling thread's transaction.
    virtual unsigned long commitTransaction() = 0;
    /// Rolls back the calling thread's transaction.
    virtual unsigned long rollbackTransaction() = 0;
    /// Runs a query; its rows are read through reader.
    virtual unsigned long execReadSQL(const CVORNBase& statement, CVORNReader& reader) = 0;
    /// Runs a statement that returns no rows.
    virtual unsigned long execWriteSQL(const CVORNBase& statement) = 0;
    /// Inserts every row of the batch's columns, all or none.
    virtual unsigned long ExecBatchInserter(const BatchInserter& batch) = 0;
    virtual ~CVORN();
};

/// Runs statements on a session of the data-access layer. The session name is
/// "default", or with useProcessSessionName "NeBackupDB" for the backup
/// processes (process ids whose low 16 bits are 4073 or 4222) and "NeUpgradeDB"
/// for every other process. Every call opens its own session and closes it
/// before returning (a read's session stays with the reader); transactions span
/// calls through the layer's per-name, per-thread bookkeeping.
class VORN_API MIRAsqlDB : public CVORN {
  public:
    /// A database object on session "default", or with useProcessSessionName
    /// on the session name of the calling process (see sessionName()).
    explicit MIRAsqlDB(bool useProcessSessionName);
    ~MIRAsqlDB() override;

    /// Opens a transaction on this thread's session; 0, or the store's code
    /// (see vorn::platform::DataSession::beginTransaction() for one already open).
    /// The three transaction calls write no log line, whatever the outcome.
    unsigned long beginTransaction() override;
    /// The same at an isolation level (see vorn::Isolation; vorn::Transaction
    /// and vorn::runTransaction take one).
    unsigned long beginTransaction(vorn::Isolation isolation);
    /// Commits this thread's transaction; 0, or the store's code (see
    /// vorn::platform::DataSession::commit() for a call without a transaction).
    unsigned long commitTransaction() override;
    /// Rolls back this thread's transaction; 0, or the store's code (see
    /// vorn::platform::DataSession::commit() for a call without a transaction).
    unsigned long rollbackTransaction() override;
    /// Runs the statement's text (a vorn::BoundStatement with its values) as a
    /// query and leaves its rows to reader, which keeps the session until it
    /// is cleared or destroyed; a read still open on reader ends first. 1 for
    /// an empty text (nothing runs); otherwise 0 or the store's code, the
    /// failure logged at information level with the store's message.
    unsigned long execReadSQL(const CVORNBase& statement, CVORNReader& reader) override;
    /// Runs the statement's text (a vorn::BoundStatement with its values) to
    /// completion. 1 for an empty text (nothing runs); otherwise 0 or the
    /// store's code, the failure logged at information level with the store's
    /// message.
    unsigned long execWriteSQL(const CVORNBase& statement) override;
    /// Binds the batch's columns to its placeholders row by row and inserts
    /// all rows in one transaction (the caller's, if one is open): after a
    /// failure no row of the batch remains. A batch without columns runs
    /// nothing and returns 0 (logged at information level); columns of unequal
    /// length return 1 and run nothing; otherwise 0 or the store's code.
    unsigned long ExecBatchInserter(const BatchInserter& batch) override;

    /// The session name the next call will use.
    const char* sessionName() const;

  private:
    bool m_useProcessSessionName;
};

/// Creates a MIRAsqlDB, stores it in db and deletes it when the guard goes out
/// of scope. The name (a database name such as "TaskDB") documents the caller's
/// intent only; the session is chosen by useProcessSessionName. db must not be
/// used after the guard is gone.
class VORN_API GuardDB {
  public:
    /// Creates the MIRAsqlDB(useProcessSessionName) and stores it in db; name
    /// is not used.
    GuardDB(const std::string& name, CVORN*& db, bool useProcessSessionName);
    /// Deletes the database object; db is left dangling.
    ~GuardDB();
    GuardDB(const GuardDB&) = delete;
    GuardDB& operator=(const GuardDB&) = delete;

  private:
    CVORN* m_db;
};

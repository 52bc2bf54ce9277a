#pragma once

#include <string>

#include "vorn/base.h"
#include "vorn/export.h"

class CVORNReader;
class BatchInserter;

// The database interface. Every call returns an error code: 0 success, 1 the
// library's own refusal (empty statement, reader not bound, mismatched batch
// columns), anything else the data-access layer's code (see
// vorn/platform/error_codes.h).
class VORN_API CVORN {
  public:
    virtual unsigned long beginTransaction() = 0;
    virtual unsigned long commitTransaction() = 0;
    virtual unsigned long rollbackTransaction() = 0;
    virtual unsigned long execReadSQL(const CVORNBase& statement, CVORNReader& reader) = 0;
    virtual unsigned long execWriteSQL(const CVORNBase& statement) = 0;
    virtual unsigned long ExecBatchInserter(const BatchInserter& batch) = 0;
    virtual ~CVORN();
};

// Runs statements on a session of the data-access layer. The session name is
// "default", or with useProcessSessionName "NeBackupDB" for the backup
// processes (process ids whose low 16 bits are 4073 or 4222) and "NeUpgradeDB"
// for every other process. Every call opens its own session and closes it
// before returning (a read's session stays with the reader); transactions span
// calls through the layer's per-name, per-thread bookkeeping.
class VORN_API MIRAsqlDB : public CVORN {
  public:
    explicit MIRAsqlDB(bool useProcessSessionName);
    ~MIRAsqlDB() override;

    unsigned long beginTransaction() override;
    unsigned long commitTransaction() override;
    unsigned long rollbackTransaction() override;
    unsigned long execReadSQL(const CVORNBase& statement, CVORNReader& reader) override;
    unsigned long execWriteSQL(const CVORNBase& statement) override;
    unsigned long ExecBatchInserter(const BatchInserter& batch) override;

    // The session name the next call will use.
    const char* sessionName() const;

  private:
    bool m_useProcessSessionName;
};

// Creates a MIRAsqlDB, stores it in db and deletes it when the guard goes out
// of scope. The name (a database name such as "TaskDB") documents the caller's
// intent only; the session is chosen by useProcessSessionName. db must not be
// used after the guard is gone.
class VORN_API GuardDB {
  public:
    GuardDB(const std::string& name, CVORN*& db, bool useProcessSessionName);
    ~GuardDB();
    GuardDB(const GuardDB&) = delete;
    GuardDB& operator=(const GuardDB&) = delete;

  private:
    CVORN* m_db;
};

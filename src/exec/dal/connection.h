#pragma once

#include <memory>
#include <string>

#include "vorn/platform/data_access.h"

namespace vorn::dal {

class BatchParameters;

// The open result of a read. It belongs to the DataSession that ran the read
// and is used on that session's thread only.
class Cursor {
  public:
    virtual ~Cursor() = default;

    // Replaces row with the next row of the result. Returns false at the end of
    // the result (status left as success) or on failure (status set).
    virtual bool fetch(platform::Row& row, platform::ExecResult& status) = 0;
};

// One open connection to a store, used by one thread at a time. Each backend
// (SQLite, and further ones chosen by URL scheme) implements it.
class Connection {
  public:
    virtual ~Connection() = default;

    virtual platform::ExecResult begin() = 0;
    virtual platform::ExecResult commit() = 0;
    virtual platform::ExecResult rollback() = 0;

    // Runs one statement to completion, discarding any rows it returns.
    virtual platform::ExecResult execute(const std::string& sql) = 0;
    // Runs one statement as a read; on success cursor holds its rows.
    virtual platform::ExecResult query(const std::string& sql, std::unique_ptr<Cursor>& cursor) = 0;
    // Runs one statement with "{key}" placeholders once per row of parameters,
    // all rows or none.
    virtual platform::ExecResult executeBatch(const std::string& sql,
                                              const BatchParameters& parameters) = 0;

    // False once the connection is known to be unusable (e.g. the server went
    // away); the connection cache then opens a new one at the next use.
    virtual bool usable() const { return true; }
};

}  // namespace vorn::dal

#pragma once

#include <libpq-fe.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "exec/dal/postgresql/result.h"

namespace vorn::dal {

// One exchange with the server in libpq's pipeline mode: commands are queued
// (and streamed out as they are queued), then finish() sends a Sync and reads
// every result up to it. Outside an explicit transaction the server runs all
// commands up to the Sync as one implicit transaction; a failing command makes
// it skip the rest, so they take effect all together or not at all.
//
// The socket is used without blocking while commands are queued, and results
// that arrive meanwhile are read, so a long pipeline cannot fill both
// directions' buffers and stall. The connection leaves pipeline mode when the
// object goes.
class PgPipeline {
  public:
    explicit PgPipeline(PGconn* conn);
    ~PgPipeline();
    PgPipeline(const PgPipeline&) = delete;
    PgPipeline& operator=(const PgPipeline&) = delete;

    // Queues a statement with text parameters (types 0: inferred by the
    // server). keep: hold on to its result for takeResult. Returns its index.
    std::size_t query(const std::string& sql, int count = 0, const Oid* types = nullptr,
                      const char* const* values = nullptr, const int* lengths = nullptr,
                      bool keep = false);
    // Queues the preparation of a statement under name ("" for the unnamed one).
    std::size_t prepare(const char* name, const std::string& sql);
    // Queues a description of a prepared statement; its result is kept.
    std::size_t describePrepared(const char* name);
    // Queues one execution of a prepared statement with text parameters.
    std::size_t queryPrepared(const char* name, int count, const char* const* values,
                              const int* lengths);

    // Sends the Sync and reads every result up to it. True when every command
    // succeeded.
    bool finish();

    // True when sending or reading failed, or the server answered in a way
    // that leaves the connection unusable.
    bool connectionFailed() const noexcept { return m_broken; }
    // True when the call ended while the server still owed its answers (see
    // bounded_wait.h): the connection's state is unknown.
    bool gaveUp() const noexcept { return m_gaveUp; }
    // After a failed finish(): the first failing command's error result (null
    // when the connection failed without one).
    const PGresult* failure() const noexcept { return m_failure.get(); }
    // A kept result (empty when the command failed or was skipped).
    PgResult takeResult(std::size_t index);

  private:
    std::size_t queued();
    void sent(int ok);
    void pump(bool waitForAll);
    bool readAvailable();
    void handle(PGresult* result);
    bool waitSocket(bool forWrite);
    void markBroken();

    PGconn* m_conn;
    bool m_entered = false;
    bool m_broken = false;  // a send or read failed
    bool m_gaveUp = false;  // the call ended before the server answered
    bool m_synced = false;
    std::vector<bool> m_keep;
    std::size_t m_done = 0;           // commands whose results are all read
    bool m_currentHasResult = false;  // the command m_done has delivered a result
    std::vector<std::pair<std::size_t, PgResult>> m_kept;
    PgResult m_failure;
    bool m_failed = false;
};

}  // namespace vorn::dal

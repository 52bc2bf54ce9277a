#pragma once

#include <memory>
#include <string>

#include "exec/dal/connection.h"
#include "exec/dal/pg_link.h"
#include "exec/dal/pg_settings.h"

namespace vorn::dal {

// A connection to a PostgreSQL server, as the thread's connection cache keeps
// it (one per thread and session name). The work is done by its PgLink, which
// the cursors of open reads share.
class PgConnection final : public Connection {
  public:
    // Connects with settings; url (as bound) only tells which secrets to keep
    // out of error texts. Null with status set on failure.
    static std::unique_ptr<PgConnection> open(const PgSettings& settings, const std::string& url,
                                              platform::ExecResult& status);

    platform::ExecResult begin() override { return m_link->begin(); }
    platform::ExecResult commit() override { return m_link->commit(); }
    platform::ExecResult rollback() override { return m_link->rollback(); }
    platform::ExecResult execute(const std::string& sql) override { return m_link->execute(sql); }
    platform::ExecResult query(const std::string& sql, std::unique_ptr<Cursor>& cursor) override {
        return m_link->query(sql, cursor);
    }
    platform::ExecResult executeBatch(const std::string& sql,
                                      const BatchParameters& parameters) override {
        return m_link->executeBatch(sql, parameters);
    }
    bool usable() const override { return !m_link->broken(); }

  private:
    explicit PgConnection(std::shared_ptr<PgLink> link) noexcept : m_link(std::move(link)) {}

    std::shared_ptr<PgLink> m_link;
};

}  // namespace vorn::dal

#pragma once

// The gates through which the parts of the PostgreSQL backend work on a link:
// one per part, each showing only what that part uses. A gate shares the
// ownership of its link, as every part that works on one does.
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "exec/dal/postgresql/link.h"

namespace vorn::dal {

// The base of the gates: the link they share.
class PgGate {
  public:
    explicit PgGate(std::shared_ptr<PgLink> link) noexcept : m_link(std::move(link)) {}
    // The link, to be handed to other parts (through their own gates).
    const std::shared_ptr<PgLink>& link() const noexcept { return m_link; }

  protected:
    PgLink& wire() const noexcept { return *m_link; }

  private:
    std::shared_ptr<PgLink> m_link;
};

// PgConnection's: the calls of the connection that run one statement, and
// what it needs to know to retry a read on a new connection.
class PgConnectionGate : public PgGate {
  public:
    using PgGate::PgGate;

    std::shared_ptr<PgLink> reopen(platform::ExecResult& status) const {
        return wire().reopen(status);
    }
    bool broken() const noexcept { return wire().broken(); }
    bool stillOpen() const { return wire().stillOpen(); }
    int socket() const noexcept { return wire().socket(); }
    bool callerTransactionOpen() const { return wire().callerTransactionOpen(); }
    bool streaming() const noexcept { return wire().streaming(); }
    platform::ExecResult settle() const { return wire().settle(); }
    PgScope statementScope(PgStatementKind kind) const { return wire().statementScope(kind); }
    platform::ExecResult runOne(PgScope scope, const std::string& sql, PgResult* kept,
                                const PgParams& params = {}) const {
        return wire().runOne(scope, sql, kept, params);
    }
};

// PgReads': reads run whole or through a server cursor, and the fetches of
// those cursors, sent ahead where that is safe.
class PgReadsGate : public PgGate {
  public:
    using PgGate::PgGate;

    bool broken() const noexcept { return wire().broken(); }
    platform::ExecResult lostFailure() const { return wire().lostFailure(); }
    const PgSettings& settings() const noexcept { return wire().settings(); }
    bool callerTransactionOpen() const { return wire().callerTransactionOpen(); }
    PGTransactionStatusType transactionStatus() const { return wire().transactionStatus(); }
    platform::ExecResult settle() const { return wire().settle(); }
    PgScope statementScope(PgStatementKind kind) const { return wire().statementScope(kind); }
    platform::ExecResult runOne(PgScope scope, const std::string& sql, PgResult* kept = nullptr,
                                const PgParams& params = {}) const {
        return wire().runOne(scope, sql, kept, params);
    }
    platform::ExecResult runUnit(PgScope scope, PgFill fill, PgCollect collect,
                                 std::string_view sql) const {
        return wire().runUnit(scope, fill, collect, sql);
    }
    bool sendAhead(const std::string& sql, const std::string& tag) const {
        return wire().sendAhead(sql, tag);
    }
    bool takeAhead(const std::string& tag, PgResult& result, platform::ExecResult& status) const {
        return wire().takeAhead(tag, result, status);
    }
    void dropAhead(const std::string& tag) const { wire().dropAhead(tag); }
};

// PgStream's: one read streaming on the wire.
class PgStreamGate : public PgGate {
  public:
    using PgGate::PgGate;

    platform::ExecResult send(const std::string& sql, const PgParams& params,
                              PgTakenRows* rest) const {
        return wire().sendStreamed(sql, params, rest);
    }
    bool incomingFrom(const PgTakenRows* rest) const noexcept { return wire().incomingFrom(rest); }
    bool receive(PgResult& row, platform::ExecResult& status) const {
        return wire().receive(row, status);
    }
    PgResult nextIncoming() const { return wire().nextIncoming(); }
    void cancelIncoming() const { wire().cancelIncoming(); }
};

// PgBatchWriter's: a batch's unit or COPY.
class PgBatchGate : public PgGate {
  public:
    using PgGate::PgGate;

    bool broken() const noexcept { return wire().broken(); }
    PgScope unitScope(PgScope outside) const { return wire().unitScope(outside); }
    platform::ExecResult runUnit(PgScope scope, PgFill fill, PgCollect collect,
                                 std::string_view sql) const {
        return wire().runUnit(scope, fill, collect, sql);
    }
    platform::ExecResult runCopy(const std::string& copySql, PgCopyFeed feed,
                                 std::string_view sql) const {
        return wire().runCopy(copySql, feed, sql);
    }
};

// PgBatchPlanner's: the questions it asks the server, each a unit.
class PgPlannerGate : public PgGate {
  public:
    using PgGate::PgGate;

    PgScope unitScope(PgScope outside) const { return wire().unitScope(outside); }
    platform::ExecResult runUnit(PgScope scope, PgFill fill, PgCollect collect,
                                 std::string_view sql) const {
        return wire().runUnit(scope, fill, collect, sql);
    }
};

}  // namespace vorn::dal

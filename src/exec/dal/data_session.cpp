#include <cstdint>
#include <memory>

#include "exec/dal/backend.h"
#include "exec/dal/batch_parameters.h"
#include "exec/dal/connection_cache.h"
#include "exec/dal/field_text.h"
#include "exec/dal/inherited.h"
#include "exec/dal/write_once.h"
#include "vorn/platform/data_access.h"
#include "vorn/platform/error_codes.h"

namespace vorn::platform {

struct DataSession::Impl {
    enum class Result { None, Open, Ended };

    explicit Impl(const char* sessionName) : name(sessionName != nullptr ? sessionName : "") {}
    ~Impl() { leaveIfInherited(); }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    // Takes this thread's connection for the name at the first call that
    // needs it (again, when the process has forked since).
    ExecResult connect() {
        ExecResult status;
        leaveIfInherited();
        if (!connection) {
            connection = dal::ConnectionCache::acquire(name, status);
            forkGeneration = dal::forkGeneration();
        }
        return status;
    }

    // In a child of fork(), the connection and open result are the parent's:
    // they are abandoned, never used or closed here. True when that happened
    // to an open result.
    bool leaveIfInherited() {
        if (!connection || forkGeneration == dal::forkGeneration()) {
            return false;
        }
        const bool hadResult = result == Result::Open;
        dal::abandonInherited(std::move(cursor));
        dal::abandonInherited(connection.release());
        result = Result::None;
        return hadResult;
    }

    // The outcome of a read that has just run.
    ExecResult opened(ExecResult status) {
        if (status.ok()) {
            result = cursor ? Result::Open : Result::Ended;
        }
        return status;
    }

    void endResult() {
        leaveIfInherited();
        cursor.reset();
        result = Result::None;
    }

    // Runs a statement that returns no rows to the caller (any kind but a read).
    ExecResult write(const std::string& sql) {
        endResult();
        ExecResult status = connect();
        return status.ok() ? connection->execute(sql) : status;
    }

    ExecResult writeBound(const std::string& sql, const BoundParameters& parameters) {
        endResult();
        ExecResult status = connect();
        return status.ok() ? connection->executeBound(sql, parameters) : status;
    }

    std::string name;
    // Declared before the cursor, which must go first.
    dal::ConnectionLease connection;
    std::uint64_t forkGeneration = 0;
    std::unique_ptr<dal::Cursor> cursor;
    Result result = Result::None;
};

DataSession::DataSession(const char* sessionName) : m_impl(std::make_unique<Impl>(sessionName)) {}

DataSession::~DataSession() = default;

const std::string& DataSession::sessionName() const noexcept {
    return m_impl->name;
}

ExecResult DataSession::beginTransaction() {
    ExecResult status = m_impl->connect();
    return status.ok() ? m_impl->connection->begin() : status;
}

ExecResult DataSession::commit() {
    ExecResult status = m_impl->connect();
    return status.ok() ? m_impl->connection->commit() : status;
}

ExecResult DataSession::rollback() {
    ExecResult status = m_impl->connect();
    return status.ok() ? m_impl->connection->rollback() : status;
}

ExecResult DataSession::execute(const std::string& /*statementId*/, SqlKind kind,
                                const std::string& sql, NoParameters /*none*/) {
    if (kind != SqlKind::Read) {
        return m_impl->write(sql);
    }
    m_impl->endResult();
    ExecResult status = m_impl->connect();
    if (!status.ok()) {
        return status;
    }
    return m_impl->opened(m_impl->connection->query(sql, m_impl->cursor));
}

ExecResult DataSession::execute(const std::string& /*statementId*/, SqlKind kind,
                                const std::string& sql, const TypedRef& parameters) {
    m_impl->endResult();
    if (kind == SqlKind::Read) {
        return ExecResult::failure(errc::kBadParameters,
                                   "a parameter set is executed as a batch, not as a read");
    }
    dal::BatchParameters batch;
    ExecResult status = dal::BatchParameters::collect(parameters, batch);
    if (!status.ok()) {
        return status;
    }
    status = m_impl->connect();
    if (!status.ok()) {
        return status;
    }
    status = m_impl->connection->executeBatch(sql, batch);
    if (status.ok()) {
        status.setRows(batch.rows());
    }
    return status;
}

ExecResult DataSession::execute(const std::string& /*statementId*/, SqlKind kind,
                                const std::string& sql, const BoundParameters& parameters) {
    if (kind == SqlKind::Batch) {
        m_impl->endResult();
        return ExecResult::failure(errc::kBadParameters,
                                   "bound values make one statement, not a batch");
    }
    if (kind != SqlKind::Read) {
        return m_impl->writeBound(sql, parameters);
    }
    m_impl->endResult();
    ExecResult status = m_impl->connect();
    if (!status.ok()) {
        return status;
    }
    return m_impl->opened(m_impl->connection->queryBound(sql, parameters, m_impl->cursor));
}

bool DataSession::fetchRow(ExecResult& status, const TypedRef& rowTarget, int /*maxRows*/) {
    if (rowTarget.type.code != typecode::kRowTarget || rowTarget.object == nullptr) {
        status = ExecResult::failure(errc::kBadParameters,
                                     "the row target must refer to a Row (type code " +
                                         std::to_string(typecode::kRowTarget) + ")");
        return false;
    }
    if (m_impl->leaveIfInherited()) {
        status = ExecResult::failure(errc::kInheritedResult,
                                     "the result was opened before fork(), by the parent process; "
                                     "run the read again in this process");
        return false;
    }
    switch (m_impl->result) {
        case Impl::Result::None:
            status = ExecResult::failure(errc::kNoResult, "no read result is open on this session");
            return false;
        case Impl::Result::Ended:
            status = ExecResult();
            return false;
        case Impl::Result::Open:
            break;
    }
    Row& row = *static_cast<Row*>(rowTarget.object);
    if (m_impl->cursor->fetch(row, status)) {
        if ((rowTarget.type.flags & kFlagNumbersAsValues) == 0) {
            dal::renderNumbers(row);
        }
        return true;
    }
    m_impl->cursor.reset();
    m_impl->result = Impl::Result::Ended;
    return false;
}

}  // namespace vorn::platform

namespace vorn::dal {

// The session's state lives on the stack here: the same steps as a
// DataSession made for the one call, without its allocation.
platform::ExecResult writeOnce(const char* sessionName, const std::string& sql) {
    platform::DataSession::Impl session(sessionName);
    return session.write(sql);
}

platform::ExecResult writeOnce(const char* sessionName, const std::string& sql,
                               const platform::BoundParameters& parameters) {
    platform::DataSession::Impl session(sessionName);
    return session.writeBound(sql, parameters);
}

}  // namespace vorn::dal

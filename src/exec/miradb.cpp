#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "exec/dal/write_once.h"
#include "exec/diagnostics/call_record.h"
#include "exec/platform/type_registry.h"
#include "vorn/batch_inserter.h"
#include "vorn/bound_statement.h"
#include "vorn/database.h"
#include "vorn/keywords.h"
#include "vorn/platform/data_access.h"
#include "vorn/platform/logger.h"
#include "vorn/platform/process.h"
#include "vorn/reader.h"

namespace {

using vorn::StatementKind;
using vorn::diag::Clock;
using vorn::platform::DataSession;
using vorn::platform::ExecResult;
using vorn::platform::Logger;
using vorn::platform::LogScrubber;
using vorn::platform::NoParameters;
using vorn::platform::SourceLocation;
using vorn::platform::SqlKind;
using vorn::platform::TypedRef;

constexpr char kUnit[] = "MiraDB";
constexpr char kExecRead[] = "execReadSQL";
constexpr char kExecWrite[] = "execWriteSQL";
constexpr char kExecBatch[] = "ExecBatchInserter";

constexpr char kDefaultSession[] = "default";
constexpr char kUpgradeSession[] = "NeUpgradeDB";
constexpr char kBackupSession[] = "NeBackupDB";
// The two backup processes of the platform; only the low 16 bits of a process
// identifier are compared.
constexpr std::uint64_t kBackupProcess = 4073;
constexpr std::uint64_t kSecondBackupProcess = 4222;
constexpr std::uint64_t kProcessIdMask = 0xFFFF;

constexpr unsigned long kRefused = 1;
constexpr std::uint32_t kRefusalLogCode = 1;

std::string tagged(std::string_view message) {
    std::string text(vorn::text::kLogTag);
    text.append(message);
    return text;
}

// The library refuses a call itself: an error line, and the call's record.
unsigned long refuse(StatementKind kind, const char* session, Clock::time_point start,
                     const char* function, int line, std::string_view message) {
    Logger::error(kRefusalLogCode, SourceLocation{kUnit, function, line},
                  LogScrubber::scrub(tagged(message)));
    const std::string text(message);
    vorn::diag::Outcome outcome;
    outcome.code = kRefused;
    outcome.message = &text;
    outcome.refused = true;
    vorn::diag::record(kind, session, std::string_view(), start, outcome);
    return kRefused;
}

// Records a call for lastError() and the statistics. Transaction calls end
// here: they never log, whatever the outcome; their code says it all.
unsigned long settle(StatementKind kind, const char* session, std::string_view text,
                     Clock::time_point start, const ExecResult& status) {
    vorn::diag::record(kind, session, text, start, vorn::diag::outcomeOf(status));
    return status.errorCode();
}

// Records a statement the store ran; a failure is also logged at information
// level with the store's detail.
unsigned long finish(StatementKind kind, const char* session, std::string_view text,
                     Clock::time_point start, const char* function, int line,
                     const ExecResult& status) {
    const unsigned long code = settle(kind, session, text, start, status);
    if (status.outcome() != 0) {
        Logger::info(code, SourceLocation{kUnit, function, line},
                     LogScrubber::scrub(tagged(status.detail().value_or(std::string()))));
    }
    return code;
}

// Runs sql on session: with its values when the statement is a bound one.
ExecResult run(DataSession& session, const std::string& id, SqlKind kind, const std::string& sql,
               const vorn::BoundStatement* bound) {
    return bound != nullptr ? session.execute(id, kind, sql, bound->parameters())
                            : session.execute(id, kind, sql, NoParameters{});
}

// The data-access layer only reads the columns of a batch, so the caller's
// inserter stays as it was although the references are not const.
template <class Vector>
std::size_t referTo(TypedRef& ref, const Vector& column) {
    vorn::platform::TypeRegistry::registerVectorType<Vector>(
        ref.type, vorn::platform::typecode::kContainer, "std::vector", 0);
    ref.type.flags |= vorn::platform::kFlagReference;
    ref.object = const_cast<Vector*>(&column);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
    return column.size();
}

// Points ref at the vector that holds column's values and returns its length;
// a column of an unknown type has no reference and length 0.
std::size_t referToColumn(vorn::platform::ParamRefMap& refs, const std::string& key,
                          const BaseTypeVector& column) {
    switch (column.m_type) {
        case BaseTypeVector::TYPE_STRING:
            return referTo(refs[key], column.m_strVec);
        case BaseTypeVector::TYPE_SIGNED:
            return referTo(refs[key], column.m_longVec);
        case BaseTypeVector::TYPE_UNSIGNED:
            return referTo(refs[key], column.m_ulongVec);
        case BaseTypeVector::TYPE_FLOAT:
            return referTo(refs[key], column.m_floatVec);
        case BaseTypeVector::TYPE_DOUBLE:
            return referTo(refs[key], column.m_doubleVec);
    }
    return 0;
}

}  // namespace

CVORN::~CVORN() = default;

MIRAsqlDB::MIRAsqlDB(bool useProcessSessionName) : m_useProcessSessionName(useProcessSessionName) {}

MIRAsqlDB::~MIRAsqlDB() = default;

// Each call below chooses the name once, at its start: with
// useProcessSessionName the rule asks for the process id, a system call.
const char* MIRAsqlDB::sessionName() const {
    using vorn::platform::currentProcessId;
    if (!m_useProcessSessionName) {
        return kDefaultSession;
    }
    if ((currentProcessId() & kProcessIdMask) == kBackupProcess) {
        return kBackupSession;
    }
    if ((currentProcessId() & kProcessIdMask) == kSecondBackupProcess) {
        return kBackupSession;
    }
    return kUpgradeSession;
}

unsigned long MIRAsqlDB::beginTransaction() {
    return beginTransaction(vorn::Isolation::Default);
}

unsigned long MIRAsqlDB::beginTransaction(vorn::Isolation isolation) {
    const Clock::time_point start = Clock::now();
    const char* const name = sessionName();
    DataSession session(name);
    return settle(StatementKind::Begin, name, "BEGIN", start, session.beginTransaction(isolation));
}

unsigned long MIRAsqlDB::commitTransaction() {
    const Clock::time_point start = Clock::now();
    const char* const name = sessionName();
    DataSession session(name);
    return settle(StatementKind::Commit, name, "COMMIT", start, session.commit());
}

unsigned long MIRAsqlDB::rollbackTransaction() {
    const Clock::time_point start = Clock::now();
    const char* const name = sessionName();
    DataSession session(name);
    return settle(StatementKind::Rollback, name, "ROLLBACK", start, session.rollback());
}

unsigned long MIRAsqlDB::execReadSQL(const CVORNBase& statement, CVORNReader& reader) {
    vorn::platform::FunctionTrace trace(SourceLocation{kUnit, kExecRead, 55});
    const Clock::time_point start = Clock::now();
    const char* const name = sessionName();
    const auto* bound = dynamic_cast<const vorn::BoundStatement*>(&statement);
    std::string sql = statement.toString();
    if (sql.empty()) {
        return refuse(StatementKind::Read, name, start, kExecRead, 58,
                      "Exception! strSQL is empty string!");
    }
    DataSession* session = reader.initializeSession(name);
    if (session == nullptr) {
        return refuse(StatementKind::Read, name, start, kExecRead, 69,
                      "Exception! strSQL is empty string!");
    }
    vorn::diag::ReadGate::endRead(reader);  // a read still open on this reader ends here
    static const std::string id = vorn::platform::makeStatementId(kUnit, kExecRead, 63);
    const ExecResult status = run(*session, id, SqlKind::Read, sql, bound);
    if (status.outcome() == 0) {
        // Recorded when its rows end, with their number.
        vorn::diag::ReadGate::startRead(
            reader, std::make_unique<vorn::diag::PendingRead>(name, std::move(sql), start));
        vorn::diag::noteOutcome(name, status);
        return 0;
    }
    return finish(StatementKind::Read, name, sql, start, kExecRead, 65, status);
}

unsigned long MIRAsqlDB::execWriteSQL(const CVORNBase& statement) {
    const Clock::time_point start = Clock::now();
    const char* const name = sessionName();
    // A bound statement's text is used where it is, not copied.
    const auto* bound = dynamic_cast<const vorn::BoundStatement*>(&statement);
    std::string rendered;
    const std::string& sql = bound != nullptr ? bound->text() : (rendered = statement.toString());
    if (sql.empty()) {
        return refuse(StatementKind::Write, name, start, kExecWrite, 80,
                      "execWriteSQL! strSQL is empty string!");
    }
    const ExecResult status = bound != nullptr
                                  ? vorn::dal::writeOnce(name, sql, bound->parameters())
                                  : vorn::dal::writeOnce(name, sql);
    return finish(StatementKind::Write, name, sql, start, kExecWrite, 86, status);
}

unsigned long MIRAsqlDB::ExecBatchInserter(const BatchInserter& batch) {
    const Clock::time_point start = Clock::now();
    const char* const name = sessionName();
    const std::string sql = batch.toString();
    if (sql.empty()) {
        return refuse(StatementKind::Batch, name, start, kExecBatch, 97,
                      "ExecBatchInserter! strSQL is empty string!");
    }
    // The references below point into the caller's columns, which stay
    // unchanged: a batch is bound where it is, never copied.
    const std::map<std::string, BaseTypeVector>& paramMap = batch.columns();
    if (paramMap.empty()) {
        Logger::info(SourceLocation{kUnit, kExecBatch, 105},
                     LogScrubber::scrub(tagged("ExecBatchInserter! paramMap is empty!")));
        return finish(StatementKind::Batch, name, sql, start, kExecBatch, 105, ExecResult());
    }

    vorn::platform::ParamRefMap refs;
    std::uint32_t rows = 0;
    bool firstColumn = true;
    for (const auto& [key, column] : paramMap) {
        // Only the low 32 bits of the lengths are compared.
        const auto count = static_cast<std::uint32_t>(referToColumn(refs, key, column));
        if (!firstColumn && count != rows) {
            return refuse(StatementKind::Batch, name, start, kExecBatch, 141,
                          "ExecBatchInserter! paramMap is error!");
        }
        rows = count;
        firstColumn = false;
    }

    static const std::string id = vorn::platform::makeStatementId(kUnit, kExecBatch, 147);
    ExecResult status;
    {
        DataSession session(name);
        const TypedRef parameters{
            vorn::platform::TypeDescriptor{vorn::platform::typecode::kParamMap,
                                           vorn::platform::kFlagReference, nullptr},
            &refs};
        status = session.execute(id, SqlKind::Batch, sql, parameters);
    }
    return finish(StatementKind::Batch, name, sql, start, kExecBatch, 149, status);
}

#pragma once

// Calls on the data-access layer as the executor makes them, for tests that
// drive a store below the library's public classes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vorn/datasource.h"
#include "vorn/platform/data_access.h"
#include "vorn/platform/error_codes.h"
#include "vorn/platform/type_registry.h"

namespace vorn::test {

using platform::DataSession;
using platform::ExecResult;
using platform::NoParameters;
using platform::Row;
using platform::SqlKind;
using platform::TypedRef;
namespace errc = platform::errc;
using Rows = std::vector<std::vector<std::string>>;

inline std::string detailOf(const ExecResult& status) {
    return status.detail().value_or("");
}

inline ExecResult run(const std::string& session, const std::string& sql,
                      SqlKind kind = SqlKind::Write) {
    DataSession s(session.c_str());
    return s.execute(platform::makeStatementId("dal_test", "run", __LINE__), kind, sql,
                     NoParameters{});
}

inline TypedRef rowTarget(Row& row) {
    TypedRef ref;
    ref.type.code = platform::typecode::kRowTarget;
    ref.object = &row;
    return ref;
}

// Every field of every remaining row of the read open on s.
inline Rows fetchAll(DataSession& s) {
    Rows rows;
    Row row;
    ExecResult status;
    while (s.fetchRow(status, rowTarget(row), 100)) {
        rows.emplace_back(row.begin(), row.end());
    }
    EXPECT_TRUE(status.ok()) << detailOf(status);
    return rows;
}

inline Rows query(const std::string& session, const std::string& sql) {
    DataSession s(session.c_str());
    const ExecResult status = s.execute("dal_test:query:0", SqlKind::Read, sql, NoParameters{});
    EXPECT_TRUE(status.ok()) << sql << ": " << detailOf(status);
    return fetchAll(s);
}

// A batch parameter set over vectors the test owns, made as the executor makes it.
struct Params {
    template <class T>
    Params& add(const std::string& key, std::vector<T>& column) {
        TypedRef& ref = map[key];
        platform::TypeRegistry::registerVectorType<std::vector<T>>(
            ref.type, platform::typecode::kContainer, "std::vector", 0);
        ref.type.flags |= platform::kFlagReference;
        ref.object = &column;
        return *this;
    }
    TypedRef ref() {
        return TypedRef{{platform::typecode::kParamMap, platform::kFlagReference, nullptr}, &map};
    }
    platform::ParamRefMap map;
};

inline ExecResult batch(const std::string& session, const std::string& sql, const TypedRef& params,
                        SqlKind kind = SqlKind::Batch) {
    DataSession s(session.c_str());
    return s.execute("dal_test:batch:0", kind, sql, params);
}

}  // namespace vorn::test

#include "exec/diagnostics/error_category.h"

#include "vorn/platform/error_codes.h"

// The category and SQLSTATE of each code (the README has the same table):
//
//   fault           SQLite (extended code)                  PostgreSQL (SQLSTATE)
//   Refused         code 1 refused by the library, errc     the same
//   Syntax          1 + "syntax error" 42601, "no such      class 42 but 42501
//                   table" 42P01, "no such column" 42703,
//                   "no such function" 42883, "already
//                   exists" 42P07
//   Constraint      2067, 1555 -> 23505; 787 -> 23503;      class 23
//                   1299 -> 23502; 275 -> 23514; 19 -> 23000
//   Busy            5, 6 and their extended codes: 55P03;   40001, 40P01, 55P03, 55006
//                   517 (a stale snapshot) -> 40001
//   ConnectionLost  14 -> 08001                             class 08, 57P01..57P03
//   Permission      8 -> 25006; 3, 23 -> 42501              42501, 25006, class 28
//   InvalidValue    18 -> 22001, 20 -> 22000, 25 -> 22023   class 22
//   Timeout         9 -> 57014                              57014, 25P03
//   Other           13 -> 53100, 10 -> 58030, 11 and 26 ->  everything else
//                   XX001, 7 -> 53200, 1 otherwise -> HY000
namespace vorn::diag {
namespace {

constexpr std::uint64_t kSqlitePrimaryMask = 0xFF;
constexpr std::uint64_t kBusySnapshot = 517;

struct Sqlite {
    std::uint64_t code;  // extended, or primary when exact is false
    bool exact;
    ErrorCategory category;
    const char* sqlstate;
};

// Matched in order: exact extended codes first, then primary codes.
constexpr Sqlite kSqliteCodes[] = {
    {2067, true, ErrorCategory::Constraint, "23505"},
    {1555, true, ErrorCategory::Constraint, "23505"},
    {787, true, ErrorCategory::Constraint, "23503"},
    {1299, true, ErrorCategory::Constraint, "23502"},
    {275, true, ErrorCategory::Constraint, "23514"},
    {kBusySnapshot, true, ErrorCategory::Busy, "40001"},
    {19, false, ErrorCategory::Constraint, "23000"},
    {5, false, ErrorCategory::Busy, "55P03"},
    {6, false, ErrorCategory::Busy, "55P03"},
    {8, false, ErrorCategory::Permission, "25006"},
    {3, false, ErrorCategory::Permission, "42501"},
    {23, false, ErrorCategory::Permission, "42501"},
    {14, false, ErrorCategory::ConnectionLost, "08001"},
    {9, false, ErrorCategory::Timeout, "57014"},
    {18, false, ErrorCategory::InvalidValue, "22001"},
    {20, false, ErrorCategory::InvalidValue, "22000"},
    {25, false, ErrorCategory::InvalidValue, "22023"},
    {13, false, ErrorCategory::Other, "53100"},
    {10, false, ErrorCategory::Other, "58030"},
    {11, false, ErrorCategory::Other, "XX001"},
    {26, false, ErrorCategory::Other, "XX001"},
    {7, false, ErrorCategory::Other, "53200"},
};

// SQLite's generic SQLITE_ERROR, told by its message.
struct SqliteMessage {
    const char* contains;
    const char* sqlstate;
};
constexpr SqliteMessage kSqliteErrors[] = {
    {"syntax error", "42601"},   {"incomplete input", "42601"}, {"no such table", "42P01"},
    {"no such column", "42703"}, {"no such function", "42883"}, {"already exists", "42P07"},
};

Classified sqlite(std::uint64_t code, std::string_view message) {
    Classified out{ErrorCategory::Other, "HY000", code};
    if ((code & kSqlitePrimaryMask) == 1) {
        for (const SqliteMessage& m : kSqliteErrors) {
            if (message.find(m.contains) != std::string_view::npos) {
                out.category = ErrorCategory::Syntax;
                out.sqlstate = m.sqlstate;
                break;
            }
        }
        return out;
    }
    for (const Sqlite& s : kSqliteCodes) {
        if (s.exact ? code == s.code : (code & kSqlitePrimaryMask) == s.code) {
            out.category = s.category;
            out.sqlstate = s.sqlstate;
            break;
        }
    }
    return out;
}

ErrorCategory postgresCategory(const std::string& state) {
    const std::string_view cls = std::string_view(state).substr(0, 2);
    if (cls == "08" || state == "57P01" || state == "57P02" || state == "57P03") {
        return ErrorCategory::ConnectionLost;
    }
    if (state == "57014" || state == "25P03") {
        return ErrorCategory::Timeout;
    }
    if (state == "40001" || state == "40P01" || state == "55P03" || state == "55006") {
        return ErrorCategory::Busy;
    }
    if (state == "42501" || state == "25006" || cls == "28") {
        return ErrorCategory::Permission;
    }
    if (cls == "23") {
        return ErrorCategory::Constraint;
    }
    if (cls == "42") {
        return ErrorCategory::Syntax;
    }
    if (cls == "22") {
        return ErrorCategory::InvalidValue;
    }
    return cls == "00" ? ErrorCategory::None : ErrorCategory::Other;
}

// The adapter's own refusals, with the SQLSTATE of the nearest fault.
const char* adapterSqlstate(std::uint64_t code) {
    namespace errc = platform::errc;
    if (code == errc::kDataSourceInvalid) {
        return "08001";
    }
    return code == errc::kMultipleStatements ? "42601" : "";
}

}  // namespace

Classified classify(std::uint64_t code, std::string_view message, bool refusedByLibrary) {
    if (code == 0) {
        return Classified();
    }
    if (refusedByLibrary) {
        return Classified{ErrorCategory::Refused, "", 0};
    }
    const std::string state = platform::sqlstateFromCode(code);
    if (!state.empty()) {
        return Classified{postgresCategory(state), state, 0};
    }
    if (code >= platform::errc::kAdapterBase) {
        return Classified{ErrorCategory::Refused, adapterSqlstate(code), 0};
    }
    return sqlite(code, message);
}

}  // namespace vorn::diag

namespace vorn {

const char* toString(ErrorCategory category) noexcept {
    switch (category) {
        case ErrorCategory::None:
            return "None";
        case ErrorCategory::Refused:
            return "Refused";
        case ErrorCategory::Syntax:
            return "Syntax";
        case ErrorCategory::Constraint:
            return "Constraint";
        case ErrorCategory::Busy:
            return "Busy";
        case ErrorCategory::ConnectionLost:
            return "ConnectionLost";
        case ErrorCategory::Permission:
            return "Permission";
        case ErrorCategory::InvalidValue:
            return "InvalidValue";
        case ErrorCategory::Timeout:
            return "Timeout";
        case ErrorCategory::Other:
            return "Other";
    }
    return "?";
}

}  // namespace vorn

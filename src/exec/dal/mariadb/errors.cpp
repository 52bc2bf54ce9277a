#include "exec/dal/mariadb/errors.h"

#include <string>

#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

struct MariadbRule {
    const char* name;      // the server's or the connector's name of the number
    const char* sqlstate;  // PostgreSQL's for the same fault, as the other stores give
    unsigned int errnum;
    ErrorCategory category;
};

using C = ErrorCategory;

// One row per error number, so the order only groups them.
constexpr MariadbRule kRules[] = {
    {"ER_DUP_ENTRY", "23505", 1062, C::Constraint},
    {"ER_DUP_ENTRY_WITH_KEY_NAME", "23505", 1586, C::Constraint},
    {"ER_ROW_IS_REFERENCED_2", "23503", 1451, C::Constraint},
    {"ER_NO_REFERENCED_ROW_2", "23503", 1452, C::Constraint},
    {"ER_NO_REFERENCED_ROW", "23503", 1216, C::Constraint},
    {"ER_ROW_IS_REFERENCED", "23503", 1217, C::Constraint},
    {"ER_BAD_NULL_ERROR", "23502", 1048, C::Constraint},
    {"ER_CONSTRAINT_FAILED", "23514", 4025, C::Constraint},
    {"ER_PARSE_ERROR", "42601", 1064, C::Syntax},
    {"ER_WRONG_VALUE_COUNT_ON_ROW", "42601", 1136, C::Syntax},
    {"ER_NO_SUCH_TABLE", "42P01", 1146, C::Syntax},
    {"ER_BAD_FIELD_ERROR", "42703", 1054, C::Syntax},
    {"ER_TABLE_EXISTS_ERROR", "42P07", 1050, C::Syntax},
    {"ER_SP_DOES_NOT_EXIST", "42883", 1305, C::Syntax},
    {"ER_LOCK_DEADLOCK", "40P01", 1213, C::Busy},
    {"ER_LOCK_WAIT_TIMEOUT", "55P03", 1205, C::Busy},
    {"ER_CON_COUNT_ERROR", "53300", 1040, C::Busy},
    {"ER_TOO_MANY_USER_CONNECTIONS", "53300", 1203, C::Busy},
    {"ER_DBACCESS_DENIED_ERROR", "42501", 1044, C::Permission},
    {"ER_ACCESS_DENIED_ERROR", "28P01", 1045, C::Permission},
    {"ER_TABLEACCESS_DENIED_ERROR", "42501", 1142, C::Permission},
    {"ER_SPECIFIC_ACCESS_DENIED_ERROR", "42501", 1227, C::Permission},
    {"ER_OPTION_PREVENTS_STATEMENT", "25006", 1290, C::Permission},  // read_only
    // The session's security cannot be had: the configuration must change.
    {"CR_SSL_CONNECTION_ERROR", "28000", 2026, C::Permission},
    {"CR_CONNECTION_ERROR", "08001", 2002, C::ConnectionLost},
    {"CR_CONN_HOST_ERROR", "08001", 2003, C::ConnectionLost},
    {"CR_UNKNOWN_HOST", "08001", 2005, C::ConnectionLost},
    {"CR_SERVER_GONE_ERROR", "08006", 2006, C::ConnectionLost},
    {"CR_SERVER_LOST", "08006", 2013, C::ConnectionLost},
    {"CR_SERVER_LOST_EXTENDED", "08006", 2055, C::ConnectionLost},
    {"ER_CONNECTION_KILLED", "57P01", 1927, C::ConnectionLost},
    {"ER_CLIENT_INTERACTION_TIMEOUT", "57P01", 4031, C::ConnectionLost},
    {"ER_SERVER_SHUTDOWN", "57P01", 1053, C::ConnectionLost},
    {"ER_QUERY_INTERRUPTED", "57014", 1317, C::Timeout},
    {"ER_STATEMENT_TIMEOUT", "57014", 1969, C::Timeout},
    {"ER_QUERY_TIMEOUT (MySQL)", "57014", 3024, C::Timeout},
    {"ER_DATA_TOO_LONG", "22001", 1406, C::InvalidValue},
    {"WARN_DATA_TRUNCATED", "22001", 1265, C::InvalidValue},
    {"ER_WARN_DATA_OUT_OF_RANGE", "22003", 1264, C::InvalidValue},
    {"ER_DATA_OUT_OF_RANGE", "22003", 1690, C::InvalidValue},
    {"ER_TRUNCATED_WRONG_VALUE_FOR_FIELD", "22P02", 1366, C::InvalidValue},
    {"ER_TRUNCATED_WRONG_VALUE", "22007", 1292, C::InvalidValue},
    {"ER_DIVISION_BY_ZERO", "22012", 1365, C::InvalidValue},
    {"ER_BAD_DB_ERROR", "3D000", 1049, C::Other},
    {"CR_OUT_OF_MEMORY", "53200", 2008, C::Other},
};

const MariadbRule kAnyOther{"any other error number", "HY000", 0, C::Other};

const MariadbRule& ruleOf(unsigned int errnum) {
    for (const MariadbRule& rule : kRules) {
        if (rule.errnum == errnum) {
            return rule;
        }
    }
    return kAnyOther;
}

}  // namespace

ErrorClass mariadbClassify(std::uint64_t code, std::string_view /*message*/) {
    const unsigned int errnum = platform::mariadbErrnoFromCode(code);
    const MariadbRule& rule = ruleOf(errnum);
    return {rule.category, rule.sqlstate, errnum};
}

std::vector<ErrorRow> mariadbErrorRows() {
    std::vector<ErrorRow> rows;
    for (const MariadbRule& rule : kRules) {
        rows.push_back(
            {std::to_string(rule.errnum) + " `" + rule.name + "`", rule.category, rule.sqlstate});
    }
    rows.push_back({kAnyOther.name, kAnyOther.category, kAnyOther.sqlstate});
    return rows;
}

bool mariadbConnectionLost(unsigned int errnum) {
    return errnum != 0 && ruleOf(errnum).category == C::ConnectionLost;
}

}  // namespace vorn::dal

#include "exec/dal/mariadb/errors.h"

#include <string>

#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

struct MariadbRule {
    unsigned int errnum;
    const char* name;  // the server's or the connector's name of the number
    ErrorCategory category;
    const char* sqlstate;  // PostgreSQL's for the same fault, as the other stores give
};

using C = ErrorCategory;

// One row per error number, so the order only groups them.
constexpr MariadbRule kRules[] = {
    {1062, "ER_DUP_ENTRY", C::Constraint, "23505"},
    {1586, "ER_DUP_ENTRY_WITH_KEY_NAME", C::Constraint, "23505"},
    {1451, "ER_ROW_IS_REFERENCED_2", C::Constraint, "23503"},
    {1452, "ER_NO_REFERENCED_ROW_2", C::Constraint, "23503"},
    {1216, "ER_NO_REFERENCED_ROW", C::Constraint, "23503"},
    {1217, "ER_ROW_IS_REFERENCED", C::Constraint, "23503"},
    {1048, "ER_BAD_NULL_ERROR", C::Constraint, "23502"},
    {4025, "ER_CONSTRAINT_FAILED", C::Constraint, "23514"},
    {1064, "ER_PARSE_ERROR", C::Syntax, "42601"},
    {1136, "ER_WRONG_VALUE_COUNT_ON_ROW", C::Syntax, "42601"},
    {1146, "ER_NO_SUCH_TABLE", C::Syntax, "42P01"},
    {1054, "ER_BAD_FIELD_ERROR", C::Syntax, "42703"},
    {1050, "ER_TABLE_EXISTS_ERROR", C::Syntax, "42P07"},
    {1305, "ER_SP_DOES_NOT_EXIST", C::Syntax, "42883"},
    {1213, "ER_LOCK_DEADLOCK", C::Busy, "40P01"},
    {1205, "ER_LOCK_WAIT_TIMEOUT", C::Busy, "55P03"},
    {1040, "ER_CON_COUNT_ERROR", C::Busy, "53300"},
    {1203, "ER_TOO_MANY_USER_CONNECTIONS", C::Busy, "53300"},
    {1044, "ER_DBACCESS_DENIED_ERROR", C::Permission, "42501"},
    {1045, "ER_ACCESS_DENIED_ERROR", C::Permission, "28P01"},
    {1142, "ER_TABLEACCESS_DENIED_ERROR", C::Permission, "42501"},
    {1227, "ER_SPECIFIC_ACCESS_DENIED_ERROR", C::Permission, "42501"},
    {1290, "ER_OPTION_PREVENTS_STATEMENT", C::Permission, "25006"},  // read_only
    // The session's security cannot be had: the configuration must change.
    {2026, "CR_SSL_CONNECTION_ERROR", C::Permission, "28000"},
    {2002, "CR_CONNECTION_ERROR", C::ConnectionLost, "08001"},
    {2003, "CR_CONN_HOST_ERROR", C::ConnectionLost, "08001"},
    {2005, "CR_UNKNOWN_HOST", C::ConnectionLost, "08001"},
    {2006, "CR_SERVER_GONE_ERROR", C::ConnectionLost, "08006"},
    {2013, "CR_SERVER_LOST", C::ConnectionLost, "08006"},
    {2055, "CR_SERVER_LOST_EXTENDED", C::ConnectionLost, "08006"},
    {1927, "ER_CONNECTION_KILLED", C::ConnectionLost, "57P01"},
    {4031, "ER_CLIENT_INTERACTION_TIMEOUT", C::ConnectionLost, "57P01"},
    {1053, "ER_SERVER_SHUTDOWN", C::ConnectionLost, "57P01"},
    {1317, "ER_QUERY_INTERRUPTED", C::Timeout, "57014"},
    {1969, "ER_STATEMENT_TIMEOUT", C::Timeout, "57014"},
    {3024, "ER_QUERY_TIMEOUT (MySQL)", C::Timeout, "57014"},
    {1406, "ER_DATA_TOO_LONG", C::InvalidValue, "22001"},
    {1265, "WARN_DATA_TRUNCATED", C::InvalidValue, "22001"},
    {1264, "ER_WARN_DATA_OUT_OF_RANGE", C::InvalidValue, "22003"},
    {1690, "ER_DATA_OUT_OF_RANGE", C::InvalidValue, "22003"},
    {1366, "ER_TRUNCATED_WRONG_VALUE_FOR_FIELD", C::InvalidValue, "22P02"},
    {1292, "ER_TRUNCATED_WRONG_VALUE", C::InvalidValue, "22007"},
    {1365, "ER_DIVISION_BY_ZERO", C::InvalidValue, "22012"},
    {1049, "ER_BAD_DB_ERROR", C::Other, "3D000"},
    {2008, "CR_OUT_OF_MEMORY", C::Other, "53200"},
};

const MariadbRule kAnyOther{0, "any other error number", C::Other, "HY000"};

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

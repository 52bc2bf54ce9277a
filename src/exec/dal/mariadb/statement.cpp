#include "exec/dal/mariadb/statement.h"

#include <cstdint>

#include "exec/dal/backend.h"
#include "exec/dal/mariadb/errors.h"
#include "exec/platform/secret_mask.h"
#include "exec/platform/type_registry.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {

using platform::ExecResult;

ExecResult MariadbLink::failure(unsigned int errnum, const char* message) {
    if (mariadbConnectionLost(errnum)) {
        lost = true;
    }
    std::string text = message != nullptr && *message != '\0' ? message : "unknown error";
    return ExecResult::failure(platform::kMariadbCodeMarker | errnum,
                               platform::SecretMask::mask(text, secrets));
}

ExecResult MariadbLink::failure() {
    return failure(mysql_errno(mysql), mysql_error(mysql));
}

ExecResult MariadbLink::failure(MYSQL_STMT* stmt) {
    return failure(mysql_stmt_errno(stmt), mysql_stmt_error(stmt));
}

ExecResult oneStatement(std::string_view sql, std::string_view& statement) {
    SqlLexer lexer(sql, kMariadbDialect);
    std::size_t begin = std::string_view::npos;
    std::size_t end = 0;
    for (SqlLexer::Token token = lexer.next(); token.kind != SqlLexer::Kind::End;
         token = lexer.next()) {
        if (token.isSymbol(sql, ';')) {
            if (begin != std::string_view::npos) {
                break;
            }
            continue;
        }
        if (begin == std::string_view::npos) {
            begin = token.begin;
        }
        end = token.end;
    }
    statement =
        begin == std::string_view::npos ? std::string_view() : sql.substr(begin, end - begin);
    if (begin != std::string_view::npos && hasSecondStatement(sql.substr(begin), kMariadbDialect)) {
        statement = {};
        return secondStatementRefused();
    }
    return {};
}

bool startsWithSet(std::string_view statement) {
    SqlLexer lexer(statement, kMariadbDialect);
    return lexer.next().is(statement, "set");
}

void MariadbStatement::reset() noexcept {
    if (m_stmt != nullptr) {
        mysql_stmt_close(m_stmt);
        m_stmt = nullptr;
    }
}

ExecResult MariadbStatement::prepare(MariadbLink& link, std::string_view statement,
                                     std::size_t expectedMarkers) {
    reset();
    m_stmt = mysql_stmt_init(link.mysql);
    if (m_stmt == nullptr) {
        return link.failure();
    }
    if (mysql_stmt_prepare(m_stmt, statement.data(), statement.size()) != 0) {
        ExecResult status = link.failure(m_stmt);
        reset();
        return status;
    }
    if (mysql_stmt_param_count(m_stmt) != expectedMarkers) {
        reset();
        return ExecResult::failure(platform::errc::kMalformedPlaceholder,
                                   "the text holds a parameter marker '?' of the store's own; "
                                   "a placeholder is {name}");
    }
    return {};
}

void mariadbBind(MYSQL_BIND& bind, const BatchValue& value, double& spare) {
    namespace typecode = platform::typecode;
    bind = MYSQL_BIND{};
    switch (value.code) {
        case typecode::kString:
            bind.buffer_type = MYSQL_TYPE_STRING;
            bind.buffer = const_cast<char*>(value.text().data());
            bind.buffer_length = value.text().size();
            break;
        case typecode::kInt64:
        case typecode::kUInt64:
            bind.buffer_type = MYSQL_TYPE_LONGLONG;
            bind.buffer = const_cast<void*>(value.element);
            break;
        case typecode::kFloat:
            spare = static_cast<double>(value.as<float>());
            bind.buffer_type = MYSQL_TYPE_DOUBLE;
            bind.buffer = &spare;
            break;
        case typecode::kDouble:
            bind.buffer_type = MYSQL_TYPE_DOUBLE;
            bind.buffer = const_cast<void*>(value.element);
            break;
        default:  // kNullValue
            bind.buffer_type = MYSQL_TYPE_NULL;
            break;
    }
}

}  // namespace vorn::dal

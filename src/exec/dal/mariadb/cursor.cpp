#include "exec/dal/mariadb/cursor.h"

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace vorn::dal {
namespace {

bool isIntegerType(enum_field_types type) {
    switch (type) {
        case MYSQL_TYPE_TINY:
        case MYSQL_TYPE_SHORT:
        case MYSQL_TYPE_INT24:
        case MYSQL_TYPE_LONG:
        case MYSQL_TYPE_LONGLONG:
        case MYSQL_TYPE_YEAR:
            return true;
        default:
            return false;
    }
}

// A float's shortest text, read back as a double: what the server's text of a
// FLOAT column reads as.
double floatAsDouble(float value) {
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text - 1, value);
    *result.ptr = '\0';
    return std::strtod(text, nullptr);
}

// One field of the text protocol: text is NUL-terminated.
void readText(const MYSQL_FIELD& field, const char* text, unsigned long length,
              platform::FieldValue& out) {
    if (text == nullptr) {
        out.clear();
        return;
    }
    if (isIntegerType(field.type)) {
        std::int64_t value = 0;
        const auto [end, ec] = std::from_chars(text, text + length, value);
        if (ec == std::errc() && end == text + length) {
            out.setInteger(value);
            return;
        }
    } else if (field.type == MYSQL_TYPE_DOUBLE || field.type == MYSQL_TYPE_FLOAT) {
        char* end = nullptr;
        const double value = std::strtod(text, &end);
        if (end == text + length) {
            out.setReal(value);
            return;
        }
    }
    out.assign(text, length);
}

}  // namespace

bool MariadbResultCursor::fetch(platform::Row& row, platform::ExecResult& status) {
    status = platform::ExecResult();
    MYSQL_ROW fields = mysql_fetch_row(m_res);
    if (fields == nullptr) {
        return false;
    }
    const unsigned int columns = mysql_num_fields(m_res);
    const unsigned long* lengths = mysql_fetch_lengths(m_res);
    const MYSQL_FIELD* meta = mysql_fetch_fields(m_res);
    row.resize(columns);
    for (unsigned int i = 0; i < columns; ++i) {
        readText(meta[i], fields[i], lengths[i], row[i]);
    }
    return true;
}

std::unique_ptr<MariadbStmtCursor> MariadbStmtCursor::open(std::shared_ptr<MariadbLink> link,
                                                           MYSQL_STMT* stmt,
                                                           platform::ExecResult& status) {
    std::unique_ptr<MariadbStmtCursor> cursor(new MariadbStmtCursor(std::move(link), stmt));
    MYSQL_RES* meta = mysql_stmt_result_metadata(stmt);
    if (meta == nullptr) {
        status = cursor->m_link->failure(stmt);
        return nullptr;
    }
    const unsigned int count = mysql_num_fields(meta);
    const MYSQL_FIELD* fields = mysql_fetch_fields(meta);
    cursor->m_columns.resize(count);
    cursor->m_binds.assign(count, MYSQL_BIND{});
    for (unsigned int i = 0; i < count; ++i) {
        Column& column = cursor->m_columns[i];
        MYSQL_BIND& bind = cursor->m_binds[i];
        bind.is_null = &column.isNull;
        bind.length = &column.length;
        if (isIntegerType(fields[i].type)) {
            const bool isUnsigned = (fields[i].flags & UNSIGNED_FLAG) != 0;
            column.form = isUnsigned ? Form::Unsigned : Form::Integer;
            bind.buffer_type = MYSQL_TYPE_LONGLONG;
            bind.buffer = &column.integer;
            bind.is_unsigned = isUnsigned ? 1 : 0;
        } else if (fields[i].type == MYSQL_TYPE_DOUBLE) {
            column.form = Form::Double;
            bind.buffer_type = MYSQL_TYPE_DOUBLE;
            bind.buffer = &column.real;
        } else if (fields[i].type == MYSQL_TYPE_FLOAT) {
            column.form = Form::Float;
            bind.buffer_type = MYSQL_TYPE_FLOAT;
            bind.buffer = &column.single;
        } else {
            // max_length is known: the rows are stored with
            // STMT_ATTR_UPDATE_MAX_LENGTH, so no field is cut short.
            column.bytes.resize(fields[i].max_length + 1);
            bind.buffer_type = MYSQL_TYPE_STRING;
            bind.buffer = column.bytes.data();
            bind.buffer_length = column.bytes.size();
        }
    }
    mysql_free_result(meta);
    if (mysql_stmt_bind_result(stmt, cursor->m_binds.data()) != 0) {
        status = cursor->m_link->failure(stmt);
        return nullptr;
    }
    return cursor;
}

MariadbStmtCursor::~MariadbStmtCursor() {
    mysql_stmt_close(m_stmt);
}

void MariadbStmtCursor::readField(const Column& column, platform::FieldValue& field) const {
    if (column.isNull != 0) {
        field.clear();
        return;
    }
    switch (column.form) {
        case Form::Integer:
            field.setInteger(column.integer);
            break;
        case Form::Unsigned: {
            const auto value = static_cast<std::uint64_t>(column.integer);
            if (value > static_cast<std::uint64_t>(INT64_MAX)) {
                field.assign(std::to_string(value));
            } else {
                field.setInteger(column.integer);
            }
            break;
        }
        case Form::Double:
            field.setReal(column.real);
            break;
        case Form::Float:
            field.setReal(floatAsDouble(column.single));
            break;
        case Form::Bytes:
            field.assign(column.bytes.data(), column.length);
            break;
    }
}

bool MariadbStmtCursor::fetch(platform::Row& row, platform::ExecResult& status) {
    status = platform::ExecResult();
    const int rc = mysql_stmt_fetch(m_stmt);
    if (rc == MYSQL_NO_DATA) {
        return false;
    }
    if (rc == 1) {
        status = m_link->failure(m_stmt);
        return false;
    }
    row.resize(m_columns.size());
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        readField(m_columns[i], row[i]);
    }
    return true;
}

}  // namespace vorn::dal

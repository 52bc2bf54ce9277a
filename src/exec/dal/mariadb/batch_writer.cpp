#include "exec/dal/mariadb/batch_writer.h"

#include <cstdint>
#include <vector>

#include "exec/dal/batch_parameters.h"
#include "exec/dal/transaction_scope.h"
#include "exec/platform/type_registry.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;
namespace typecode = platform::typecode;

// The values of one marker for the rows of a chunk, as the connector's
// column-wise array binding takes them.
struct MarkerColumn {
    std::uint32_t code = 0;
    std::vector<const char*> texts;
    std::vector<unsigned long> lengths;
    std::vector<long long> integers;
    std::vector<double> reals;

    void clear() {
        texts.clear();
        lengths.clear();
        integers.clear();
        reals.clear();
    }
    void add(const BatchValue& value) {
        switch (value.code) {
            case typecode::kString:
                texts.push_back(value.text().data());
                lengths.push_back(value.text().size());
                break;
            case typecode::kInt64:
                integers.push_back(value.as<std::int64_t>());
                break;
            case typecode::kUInt64:
                integers.push_back(static_cast<long long>(value.as<std::uint64_t>()));
                break;
            case typecode::kFloat:
                reals.push_back(static_cast<double>(value.as<float>()));
                break;
            default:  // kDouble
                reals.push_back(value.as<double>());
                break;
        }
    }
    MYSQL_BIND bind() {
        MYSQL_BIND bind{};
        if (code == typecode::kString) {
            bind.buffer_type = MYSQL_TYPE_STRING;
            bind.buffer = texts.data();
            bind.length = lengths.data();
        } else if (code == typecode::kInt64 || code == typecode::kUInt64) {
            bind.buffer_type = MYSQL_TYPE_LONGLONG;
            bind.buffer = integers.data();
        } else {
            bind.buffer_type = MYSQL_TYPE_DOUBLE;
            bind.buffer = reals.data();
        }
        return bind;
    }
};

// Executes the rows gathered in markers in one bulk round trip.
ExecResult executeChunk(MariadbLink& link, MYSQL_STMT* stmt, std::vector<MarkerColumn>& markers,
                        unsigned int rows, std::uint64_t& changed) {
    std::vector<MYSQL_BIND> binds;
    binds.reserve(markers.size());
    for (MarkerColumn& marker : markers) {
        binds.push_back(marker.bind());
    }
    if (mysql_stmt_attr_set(stmt, STMT_ATTR_ARRAY_SIZE, &rows) != 0 ||
        (!binds.empty() && mysql_stmt_bind_param(stmt, binds.data()) != 0) ||
        mysql_stmt_execute(stmt) != 0) {
        return link.failure(stmt);
    }
    changed += mysql_stmt_affected_rows(stmt);
    for (MarkerColumn& marker : markers) {
        marker.clear();
    }
    return {};
}

}  // namespace

ExecResult MariadbBatchWriter::run(const std::string& sql, const BatchParameters& parameters) {
    std::string text;
    std::vector<const BatchColumn*> bound;
    std::vector<std::size_t> order;
    ExecResult status = parameters.bindPlaceholders(sql, kMariadbDialect, '?', text, bound,
                                                    MarkerStyle::Plain, &order);
    std::string_view statement;
    if (status.ok()) {
        status = oneStatement(text, statement);
    }
    MariadbStatement stmt;
    if (!status.ok() || statement.empty()) {
        return status;
    }
    // Prepared even for no rows, so that the statement is checked.
    status = stmt.prepare(m_link, statement, order.size());
    if (!status.ok() || parameters.rows() == 0) {
        return status;
    }
    MYSQL* const mysql = m_link.mysql;
    TransactionScope scope(
        m_inTransaction ? TransactionScope::Kind::Savepoint : TransactionScope::Kind::Transaction,
        [this, mysql](const char* control) {
            return mysql_query(mysql, control) == 0 ? ExecResult() : m_link.failure();
        });
    status = scope.begin();
    if (!status.ok()) {
        return status;
    }
    std::vector<MarkerColumn> markers(order.size());
    for (std::size_t k = 0; k < order.size(); ++k) {
        markers[k].code = bound[order[k]]->elementCode;
    }
    std::uint64_t changed = 0;
    unsigned int gathered = 0;
    std::size_t next = 0;  // the marker the next value is for
    status = parameters.forEachRow(
        bound, order,
        [&](std::size_t /*parameter*/, const BatchValue& value) {
            markers[next++].add(value);
            return ExecResult();
        },
        [&](std::size_t row) {
            next = 0;
            ++gathered;
            if (gathered < kChunkRows && row + 1 < parameters.rows()) {
                return ExecResult();
            }
            const unsigned int rows = gathered;
            gathered = 0;
            return executeChunk(m_link, stmt.get(), markers, rows, changed);
        });
    if (status.ok()) {
        status = scope.commit();
    }
    if (status.ok()) {
        status.setRows(changed);
    }
    return status;
}

}  // namespace vorn::dal

#include "exec/dal/postgresql/taken_rows.h"

namespace vorn::dal {
namespace {

// Rows per block.
constexpr int kBlockRows = 10000;

}  // namespace

bool PgTakenRows::append(PgResult row) {
    const int fields = PQnfields(row.get());
    if (fields == 0) {  // a row without columns is only counted
        m_blocks.push_back(std::move(row));
        return true;
    }
    if (m_blocks.empty() || PQnfields(m_blocks.back().get()) == 0 ||
        PQntuples(m_blocks.back().get()) >= kBlockRows) {
        PgResult block(PQcopyResult(row.get(), PG_COPYRES_ATTRS));
        if (!block) {
            return false;
        }
        m_blocks.push_back(std::move(block));
    }
    PGresult* block = m_blocks.back().get();
    const int at = PQntuples(block);
    for (int i = 0; i < fields; ++i) {
        const bool null = PQgetisnull(row.get(), 0, i) != 0;
        if (PQsetvalue(block, at, i, null ? nullptr : PQgetvalue(row.get(), 0, i),
                       null ? -1 : PQgetlength(row.get(), 0, i)) == 0) {
            return false;
        }
    }
    return true;
}

bool PgTakenRows::pop(PgResult& rows) {
    if (m_blocks.empty()) {
        return false;
    }
    rows = std::move(m_blocks.front());
    m_blocks.pop_front();
    return true;
}

}  // namespace vorn::dal

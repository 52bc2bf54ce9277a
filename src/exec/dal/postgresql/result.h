#pragma once

#include <libpq-fe.h>

#include <utility>

namespace vorn::dal {

// Owns one PGresult and clears it when done.
class PgResult {
  public:
    PgResult() noexcept = default;
    explicit PgResult(PGresult* result) noexcept : m_result(result) {}
    ~PgResult() { PQclear(m_result); }
    PgResult(PgResult&& other) noexcept : m_result(std::exchange(other.m_result, nullptr)) {}
    PgResult& operator=(PgResult&& other) noexcept {
        if (this != &other) {
            PQclear(m_result);
            m_result = std::exchange(other.m_result, nullptr);
        }
        return *this;
    }
    PgResult(const PgResult&) = delete;
    PgResult& operator=(const PgResult&) = delete;

    PGresult* get() const noexcept { return m_result; }
    explicit operator bool() const noexcept { return m_result != nullptr; }
    ExecStatusType status() const noexcept {
        return m_result != nullptr ? PQresultStatus(m_result) : PGRES_FATAL_ERROR;
    }

  private:
    PGresult* m_result = nullptr;
};

}  // namespace vorn::dal

#pragma once

namespace vorn::dal {

// The text parameters of one command ($1, $2, ...); a null value is NULL.
struct PgParams {
    int count = 0;
    const char* const* values = nullptr;
    const int* lengths = nullptr;
};

}  // namespace vorn::dal

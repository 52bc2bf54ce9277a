#include "exec/dal/postgresql/chunk.h"

#include <algorithm>
#include <cstddef>

namespace vorn::dal {
namespace {

constexpr std::size_t kGrowth = 4;
constexpr std::size_t kChunkBytes = std::size_t{4} * 1024 * 1024;

}  // namespace

int PgChunk::nextRequest(int maxRows) const {
    const int rows = result ? PQntuples(result.get()) : 0;
    const std::size_t perRow =
        rows > 0 ? PQresultMemorySize(result.get()) / static_cast<std::size_t>(rows) + 1 : 1;
    const std::size_t byBytes = std::max<std::size_t>(1, kChunkBytes / perRow);
    const std::size_t grown = static_cast<std::size_t>(std::max(requested, 1)) * kGrowth;
    return static_cast<int>(std::min({grown, byBytes, static_cast<std::size_t>(maxRows)}));
}

}  // namespace vorn::dal

#include "vorn/platform/data_access.h"

namespace vorn::platform {

ExecResult ExecResult::failure(std::uint64_t code, std::string detail) {
    ExecResult result;
    result.m_outcome = 1;
    result.m_code = code;
    result.m_detail = std::move(detail);
    return result;
}

ExecResult ExecResult::failureWithoutDetail(std::uint64_t code) {
    ExecResult result;
    result.m_outcome = 1;
    result.m_code = code;
    return result;
}

}  // namespace vorn::platform

#include <charconv>
#include <cstring>
#include <string>

#include "vorn/platform/data_access.h"

namespace vorn::platform {

std::string makeStatementId(const char* sourceName, const char* functionName, int line) {
    const char* const source = sourceName != nullptr ? sourceName : "";
    const char* const function = functionName != nullptr ? functionName : "";
    char number[16];
    const auto converted = std::to_chars(number, number + sizeof number, line);
    const std::size_t sourceSize = std::strlen(source);
    const std::size_t functionSize = std::strlen(function);
    const auto numberSize = static_cast<std::size_t>(converted.ptr - number);

    std::string id;
    id.reserve(sourceSize + functionSize + numberSize + 2);
    id.append(source, sourceSize).append(1, ':').append(function, functionSize).append(1, ':');
    id.append(number, numberSize);
    return id;
}

}  // namespace vorn::platform

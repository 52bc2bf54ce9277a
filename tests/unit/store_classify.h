#pragma once

#include <cstdint>
#include <string_view>

#include "exec/dal/backend.h"
#include "exec/dal/error_class.h"
#include "vorn/platform/error_codes.h"

namespace vorn::test {

// code classified as the store that made it classifies it: PostgreSQL's codes
// carry its marker, every other store code here is SQLite's.
inline dal::ErrorClass classify(std::uint64_t code, std::string_view message, bool refused) {
    const bool postgres = (code >> 48) == (platform::kPgCodeMarker >> 48);
    return dal::classifyFailure(code, message, refused,
                                dal::findBackend(postgres ? "postgresql" : "sqlite"));
}

}  // namespace vorn::test

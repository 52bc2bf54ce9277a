#include "vorn/platform/error_codes.h"

namespace vorn::platform {

namespace {

constexpr std::size_t kSqlstateLength = 5;
constexpr std::uint64_t kMarkerMask = 0xFFFFULL << 48;
// The byte between the marker and the five SQLSTATE characters stays zero.
constexpr std::uint64_t kSpareByteMask = 0xFFULL << 40;

bool isSqlstateChar(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z');
}

char toUpperAscii(char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

std::uint64_t packSqlstate(const char* chars) {
    std::uint64_t code = kPgCodeMarker;
    for (std::size_t i = 0; i < kSqlstateLength; ++i) {
        code |= static_cast<std::uint64_t>(static_cast<unsigned char>(chars[i]))
                << (8 * (kSqlstateLength - 1 - i));
    }
    return code;
}

}  // namespace

std::uint64_t pgCodeFromSqlstate(const std::string& sqlstate) {
    char chars[kSqlstateLength] = {'X', 'X', '0', '0', '0'};  // internal_error
    if (sqlstate.size() == kSqlstateLength) {
        char upper[kSqlstateLength];
        bool valid = true;
        for (std::size_t i = 0; i < kSqlstateLength; ++i) {
            upper[i] = toUpperAscii(sqlstate[i]);
            valid = valid && isSqlstateChar(upper[i]);
        }
        if (valid) {
            return packSqlstate(upper);
        }
    }
    return packSqlstate(chars);
}

std::string sqlstateFromCode(std::uint64_t code) {
    if ((code & kMarkerMask) != kPgCodeMarker || (code & kSpareByteMask) != 0) {
        return {};
    }
    std::string sqlstate(kSqlstateLength, '\0');
    for (std::size_t i = 0; i < kSqlstateLength; ++i) {
        const char c = static_cast<char>((code >> (8 * (kSqlstateLength - 1 - i))) & 0xFFU);
        if (!isSqlstateChar(c)) {
            return {};
        }
        sqlstate[i] = c;
    }
    return sqlstate;
}

}  // namespace vorn::platform

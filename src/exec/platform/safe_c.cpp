#include "exec/platform/safe_c.h"

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

namespace vorn::platform {

namespace {

// Sizes above this bound are treated as the result of a negative value
// converted to size_t, as the bounds-checked C interfaces do.
constexpr std::size_t kMaxSize = std::numeric_limits<std::size_t>::max() >> 1U;

bool rangesOverlap(const void* a, const void* b, std::size_t count) {
    const auto first = reinterpret_cast<std::uintptr_t>(a);
    const auto second = reinterpret_cast<std::uintptr_t>(b);
    return first < second ? second - first < count : first - second < count;
}

// A store the compiler must assume is observed: the asm statement claims to
// read the memory behind dest, so the preceding memset cannot be elided even
// when the buffer is about to die.
void fillObservably(void* dest, int value, std::size_t count) {
    std::memset(dest, value, count);
    asm volatile("" : : "r"(dest) : "memory");
}

}  // namespace

int snprintf_s(char* dest, std::size_t destSize, std::size_t maxCount, const char* format, ...) {
    if (dest == nullptr || destSize == 0 || destSize > kMaxSize) {
        return -1;
    }
    if (format == nullptr || maxCount >= destSize ||
        maxCount > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        dest[0] = '\0';
        return -1;
    }

    va_list args;
    va_start(args, format);
    // At most maxCount characters plus the terminating NUL are stored. (The
    // analyzer loses track of va_start here and reports a false positive.)
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int needed = std::vsnprintf(dest, maxCount + 1, format, args);
    va_end(args);

    if (needed < 0) {
        dest[0] = '\0';
        return -1;
    }
    if (static_cast<std::size_t>(needed) > maxCount) {
        return -1;  // vsnprintf has left the text cut at maxCount characters
    }
    return needed;
}

int memcpy_s(void* dest, std::size_t destSize, const void* src, std::size_t count) {
    if (dest == nullptr || destSize > kMaxSize) {
        return EINVAL;
    }
    if (src == nullptr) {
        fillObservably(dest, 0, destSize);
        return EINVAL;
    }
    if (count > destSize) {
        fillObservably(dest, 0, destSize);
        return ERANGE;
    }
    if (rangesOverlap(dest, src, count)) {
        fillObservably(dest, 0, destSize);
        return EINVAL;
    }
    if (count != 0) {
        std::memcpy(dest, src, count);
    }
    return 0;
}

int memset_s(void* dest, std::size_t destSize, int value, std::size_t count) {
    if (dest == nullptr || destSize > kMaxSize) {
        return EINVAL;
    }
    if (count > destSize) {
        fillObservably(dest, value, destSize);
        return ERANGE;
    }
    fillObservably(dest, value, count);
    return 0;
}

}  // namespace vorn::platform

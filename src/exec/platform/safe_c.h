#pragma once

#include <cstddef>

#include "vorn/export.h"

namespace vorn::platform {

// Bounds-checked C string and memory functions.
//
// snprintf_s formats at most maxCount characters into dest (destSize bytes).
// It returns the number of characters written, or -1 when the arguments are
// invalid (null pointers, destSize 0, maxCount >= destSize), when formatting
// fails, or when the text was longer than maxCount; in the last case dest
// holds the text cut at maxCount characters, NUL-terminated.
int snprintf_s(char* dest, std::size_t destSize, std::size_t maxCount, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

// Copies count bytes. Returns 0, or a nonzero errno value (and zero-fills dest
// when it is usable) for null pointers, count > destSize or overlapping ranges.
int memcpy_s(void* dest, std::size_t destSize, const void* src, std::size_t count);

// Sets count bytes to value; the store is never optimised away. Returns 0, or a
// nonzero errno value for a null dest or count > destSize (dest is then filled
// up to destSize).
int memset_s(void* dest, std::size_t destSize, int value, std::size_t count);

}  // namespace vorn::platform

#include "exec/dal/pg_value_text.h"

#include <charconv>
#include <cmath>
#include <string>

#include "vorn/platform/type_registry.h"

namespace vorn::dal {
namespace {

namespace typecode = platform::typecode;

template <class T>
std::string_view numberText(T value, char (&buffer)[kPgValueBuffer]) {
    // One byte is kept for the NUL that libpq's text parameters need.
    const auto result = std::to_chars(buffer, buffer + kPgValueBuffer - 1, value);
    *result.ptr = '\0';
    return {buffer, static_cast<std::size_t>(result.ptr - buffer)};
}

template <class T>
std::string_view floatingText(T value, char (&buffer)[kPgValueBuffer]) {
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value > 0 ? "Infinity" : "-Infinity";
    }
    return numberText(value, buffer);
}

}  // namespace

std::string_view pgValueText(std::uint32_t elementCode, const void* element, bool realTarget,
                             char (&buffer)[kPgValueBuffer]) {
    switch (elementCode) {
        case typecode::kString:
            return *static_cast<const std::string*>(element);
        case typecode::kInt64:
            return numberText(*static_cast<const std::int64_t*>(element), buffer);
        case typecode::kUInt64:
            return numberText(
                static_cast<std::int64_t>(*static_cast<const std::uint64_t*>(element)), buffer);
        case typecode::kFloat: {
            const float value = *static_cast<const float*>(element);
            return realTarget ? floatingText(value, buffer)
                              : floatingText(static_cast<double>(value), buffer);
        }
        case typecode::kDouble:
            return floatingText(*static_cast<const double*>(element), buffer);
        default:
            return {};
    }
}

}  // namespace vorn::dal

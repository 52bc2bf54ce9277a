#include "exec/dal/postgresql/value_text.h"

#include <charconv>
#include <cmath>
#include <string>

#include "exec/dal/postgresql/errors.h"
#include "exec/platform/type_registry.h"

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

platform::ExecResult pgValueText(const BatchValue& value, bool realTarget,
                                 char (&buffer)[kPgValueBuffer], std::string_view& text) {
    switch (value.code) {
        case typecode::kString:
            text = value.text();
            if (text.find('\0') != std::string_view::npos) {
                return pgFailure(pgstate::kUntranslatableCharacter,
                                 "a text value holds a NUL byte, which PostgreSQL text cannot "
                                 "store");
            }
            break;
        case typecode::kInt64:
            text = numberText(value.as<std::int64_t>(), buffer);
            break;
        case typecode::kUInt64:
            text = numberText(static_cast<std::int64_t>(value.as<std::uint64_t>()), buffer);
            break;
        case typecode::kFloat:
            text = realTarget ? floatingText(value.as<float>(), buffer)
                              : floatingText(static_cast<double>(value.as<float>()), buffer);
            break;
        case typecode::kDouble:
            text = floatingText(value.as<double>(), buffer);
            break;
        default:
            text = {};
            break;
    }
    return {};
}

}  // namespace vorn::dal

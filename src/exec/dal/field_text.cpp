#include "exec/dal/field_text.h"

#include <charconv>
#include <cstddef>

namespace vorn::dal {
namespace {

// Room for the longest shortest-round-trip double ("-2.2250738585072014e-308")
// and any 64-bit integer.
constexpr std::size_t kNumberBuffer = 32;

}  // namespace

void renderNumber(platform::FieldValue& field) {
    char buffer[kNumberBuffer];
    std::to_chars_result result{};
    switch (field.kind()) {
        case platform::FieldValue::Kind::Integer:
            result = std::to_chars(buffer, buffer + kNumberBuffer, field.integer());
            break;
        case platform::FieldValue::Kind::Real:
            result = std::to_chars(buffer, buffer + kNumberBuffer, field.real());
            break;
        case platform::FieldValue::Kind::Text:
            return;
    }
    field.assign(buffer, static_cast<std::size_t>(result.ptr - buffer));
}

void renderNumbers(platform::Row& row) {
    for (platform::FieldValue& field : row) {
        renderNumber(field);
    }
}

}  // namespace vorn::dal

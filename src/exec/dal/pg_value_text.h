#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vorn::dal {

// Room for the text of any element that is not a string.
inline constexpr std::size_t kPgValueBuffer = 32;

// The text of one batch element (platform::typecode::kString, kInt64,
// kUInt64, kFloat, kDouble) as PostgreSQL reads it:
//   - strings as they are (a view of the element itself);
//   - signed integers in decimal;
//   - unsigned integers as the signed decimal of the same 64 bits, so values
//     above INT64_MAX fit a bigint column (as negative numbers, the same
//     mapping as on SQLite; strtoul of the text read back gives the value);
//   - doubles in the shortest text that reads back to the same value
//     (denormals included), infinities and NaN as "Infinity", "-Infinity",
//     "NaN";
//   - floats likewise; for a real (float4) column the float's own shortest
//     text, for any other column the shortest text of its exact double value.
// Other codes give an empty view. Every view is followed by a NUL byte, as
// libpq wants of text parameters.
std::string_view pgValueText(std::uint32_t elementCode, const void* element, bool realTarget,
                             char (&buffer)[kPgValueBuffer]);

}  // namespace vorn::dal

#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "exec/dal/batch_parameters.h"

namespace vorn::dal {

// Room for the text of any element that is not a string.
inline constexpr std::size_t kPgValueBuffer = 32;

// The text of one batch value as PostgreSQL reads it:
//   - strings as they are (a view of the element itself); one holding a NUL
//     byte, which PostgreSQL text cannot store, is refused with SQLSTATE
//     22021;
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
platform::ExecResult pgValueText(const BatchValue& value, bool realTarget,
                                 char (&buffer)[kPgValueBuffer], std::string_view& text);

}  // namespace vorn::dal

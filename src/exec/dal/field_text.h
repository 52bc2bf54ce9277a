#pragma once

#include "vorn/platform/data_access.h"

namespace vorn::dal {

// Gives a field that holds a number its text form (see Cursor::fetch in
// backend.h): integers in decimal, reals the shortest text that reads back
// (strtod) to the same double. A text field is left as it is.
void renderNumber(platform::FieldValue& field);

// renderNumber for every field of row.
void renderNumbers(platform::Row& row);

}  // namespace vorn::dal

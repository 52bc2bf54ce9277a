#pragma once

// Symbols marked VORN_API are the library's interface; everything else in
// libvorn.so is built with hidden visibility. VORN_LOCAL keeps a private member
// of an exported class out of the interface: only the library itself calls it.
#define VORN_API __attribute__((visibility("default")))
#define VORN_LOCAL __attribute__((visibility("hidden")))

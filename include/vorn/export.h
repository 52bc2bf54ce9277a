#pragma once

// Symbols marked VORN_API are the library's interface; everything else in
// libvorn.so is built with hidden visibility.
#define VORN_API __attribute__((visibility("default")))

#pragma once

/// @file
/// @brief The visibility macros of the library's interface.
///
/// Symbols marked VORN_API are the library's interface; everything else in
/// libvorn.so is built with hidden visibility. VORN_LOCAL keeps a private member
/// of an exported class out of the interface: only the library itself calls it.

/// Marks a class or function of the library's interface (default visibility).
#define VORN_API __attribute__((visibility("default")))
/// Keeps a member of an exported class out of the interface (hidden visibility).
#define VORN_LOCAL __attribute__((visibility("hidden")))
/// VORN_API for a result that must not be dropped: a call whose result is
/// ignored draws a warning.
#define VORN_API_RESULT [[nodiscard, gnu::visibility("default")]]

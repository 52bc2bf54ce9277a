#include "vorn/version.h"

namespace vorn {

const char* version() noexcept {
    return VORN_VERSION_STRING;
}

int versionNumber() noexcept {
    return VORN_VERSION;
}

}  // namespace vorn

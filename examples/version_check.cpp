// What a program does at start-up to make sure it runs with the library it was
// built for: the headers' version against the loaded library's, by the ABI
// policy of <vorn/version.h>. Prints both versions; exits 1 when they cannot
// work together.
#include <vorn/vorn.h>

#include <cstdio>

int main() {
    std::printf("built against VORNLib %s, running with %s\n", VORN_VERSION_STRING,
                vorn::version());
    if (!vorn::isCompatibleRuntime()) {
        std::fprintf(stderr, "libvorn %s cannot serve a program built for %s\n", vorn::version(),
                     VORN_VERSION_STRING);
        return 1;
    }
    return 0;
}

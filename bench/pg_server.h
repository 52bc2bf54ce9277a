#pragma once

// The PostgreSQL server the PostgreSQL benchmarks measure against.
#include <cstdio>
#include <cstdlib>

namespace vorn::bench {

// $VORN_TEST_PG_URL (as "scripts/pg-server start <dir>" prints it), or nullptr
// after telling the user, as program, that there is nothing to measure.
inline const char* pgServerUrl(const char* program) {
    const char* url = std::getenv("VORN_TEST_PG_URL");
    if (url == nullptr || *url == '\0') {
        (void)std::printf(
            "%s: VORN_TEST_PG_URL is not set, nothing to measure "
            "(start a server with scripts/pg-server start <dir>)\n",
            program);
        return nullptr;
    }
    return url;
}

}  // namespace vorn::bench

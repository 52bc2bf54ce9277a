// Each store's failures are sorted by its own backend, and the manual's page
// of categories is printed from the very tables the backends apply.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <sstream>
#include <string>

#include "exec/dal/backend.h"
#include "exec/dal/error_class.h"

namespace {

using vorn::ErrorCategory;
using vorn::dal::Backend;
using vorn::dal::ErrorClass;

ErrorClass thirdStore(std::uint64_t code, std::string_view /*message*/) {
    return {ErrorCategory::Busy, "40001", code};
}

// A store code is never read as another store's: without a backend it is
// unknown, with one it is that backend's to sort.
TEST(ErrorClass, AStoreCodeIsSortedByTheBackendThatMadeIt) {
    const ErrorClass unknown = vorn::dal::classifyFailure(2067, "", false, nullptr);
    EXPECT_EQ(unknown.category, ErrorCategory::Other);
    EXPECT_EQ(unknown.sqlstate, "HY000");
    Backend third{};
    third.classify = &thirdStore;
    const ErrorClass own = vorn::dal::classifyFailure(2067, "", false, &third);
    EXPECT_EQ(own.category, ErrorCategory::Busy);
    EXPECT_EQ(own.storeCode, 2067U);
}

// The page shows every backend. MariaDB's comes last and is off by default
// while unfinished: a build without it prints the page up to its table.
TEST(ErrorClass, TheManualPageIsPrintedFromTheTables) {
    if (vorn::dal::findBackend("postgresql") == nullptr) {
        GTEST_SKIP() << "the page shows every backend; this build has no PostgreSQL backend";
    }
    const bool complete = vorn::dal::findBackend("mariadb") != nullptr;
    const std::string path = VORN_SOURCE_DIR "/docs/error-categories.md";
    const std::string page = vorn::dal::errorCategoryPage();
    if (const char* update = ::getenv("VORN_UPDATE_DOCS");
        complete && update != nullptr && *update == '1') {
        std::ofstream(path) << page;
    }
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    EXPECT_EQ(complete ? text.str() : text.str().substr(0, page.size()), page)
        << path << " differs from the tables: run this test with VORN_UPDATE_DOCS=1, in a "
        << "build with -DVORN_WITH_MARIADB=ON, to print it again";
}

}  // namespace

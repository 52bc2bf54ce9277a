#include "exec/dal/data_source.h"

#include "exec/dal/url_text.h"
#include "exec/platform/secret_mask.h"

namespace vorn::dal {

namespace {

const Backend* checkedBackend(const std::string& url, std::string& problem) {
    const std::string_view scheme = urlScheme(url);
    if (scheme.empty()) {
        problem = "not a URL (expected scheme:..., e.g. sqlite:/path/to/file.db)";
        return nullptr;
    }
    const Backend* backend = findBackend(scheme);
    if (backend == nullptr) {
        problem = "unknown scheme \"" + std::string(scheme) + "\" (known: " + knownSchemes() + ")";
        return nullptr;
    }
    SourceOptions options;
    if (!readSourceOptions(url, options, problem) || !backend->check(url, problem)) {
        return nullptr;
    }
    return backend;
}

}  // namespace

const Backend* checkDataSourceUrl(const std::string& url, std::string& problem) {
    const Backend* backend = checkedBackend(url, problem);
    if (backend == nullptr) {
        // The texts may quote parts of the URL (an option's name, libpq's
        // text): whatever the part, no secret of the URL shows.
        problem = platform::SecretMask::mask(problem, platform::SecretMask::urlValues(url));
    }
    return backend;
}

DataSource makeDataSource(const std::string& url) {
    DataSource source;
    source.url = url;
    source.display = platform::SecretMask::mask(url, platform::SecretMask::urlValues(url));
    source.backend = checkDataSourceUrl(url, source.problem);
    if (source.backend != nullptr) {
        (void)readSourceOptions(url, source.options, source.problem);
    }
    return source;
}

}  // namespace vorn::dal

#include "exec/dal/data_source_registry.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <system_error>

#include "exec/dal/data_source_list.h"
#include "vorn/datasource.h"
#include "vorn/platform/error_codes.h"
#include "vorn/platform/logger.h"

namespace vorn::dal {
namespace {

constexpr const char* kLogUnit = "DataSources";
constexpr const char* kDataDirVariable = "VORN_DATA_DIR";
constexpr const char* kBindingsVariable = "VORN_DATASOURCES";

using SourceMap = std::map<std::string, std::shared_ptr<const DataSource>>;

struct State {
    std::mutex mutex;
    SourceMap runtime;      // bindDataSource / bindDataSources
    SourceMap environment;  // $VORN_DATASOURCES
    bool environmentLoaded = false;
    std::string environmentProblem;  // non-empty: $VORN_DATASOURCES is invalid
};

std::atomic<std::uint64_t> g_generation{1};

State& state() {
    static State instance;
    return instance;
}

void logProblem(const char* function, int line, const std::string& message) {
    platform::Logger::error(static_cast<std::uint32_t>(platform::errc::kDataSourceInvalid),
                            platform::SourceLocation{kLogUnit, function, line},
                            platform::LogScrubber::scrub("[VORNLib]" + message));
}

std::shared_ptr<const DataSource> invalidSource(std::string problem) {
    auto source = std::make_shared<DataSource>();
    source->problem = std::move(problem);
    return source;
}

// Reads $VORN_DATASOURCES into s (caller holds the lock); logs a problem.
void loadEnvironment(State& s) {
    s.environmentLoaded = true;
    s.environment.clear();
    s.environmentProblem.clear();
    const char* value = std::getenv(kBindingsVariable);
    if (value == nullptr) {
        return;
    }
    DataSourcePairs pairs;
    std::string problem;
    if (!parseDataSourceList(value, pairs, problem)) {
        s.environmentProblem = "$VORN_DATASOURCES is invalid: " + problem;
        logProblem("loadEnvironment", __LINE__,
                   s.environmentProblem + "; no session name is bound from it");
        return;
    }
    for (const auto& [name, url] : pairs) {
        s.environment[name] = std::make_shared<const DataSource>(makeDataSource(url));
    }
}

bool isFileName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

// The embedded default for an unbound name: "<dir>/<name>.db".
std::shared_ptr<const DataSource> defaultSource(const std::string& name) {
    if (!isFileName(name)) {
        return invalidSource("session name \"" + name +
                             "\" is not bound and cannot name a database file");
    }
    const std::string setting = dataDirSetting();
    std::error_code ec;
    std::filesystem::path dir =
        setting.empty() ? std::filesystem::current_path(ec) : std::filesystem::path(setting);
    // A directory that cannot be made shows as a failure to open the file.
    std::filesystem::create_directories(dir, ec);
    const std::string path = (dir / (name + ".db")).string();
    auto source = std::make_shared<DataSource>();
    if (path.find('?') != std::string::npos) {
        source->problem = "the default database path \"" + path + "\" holds a '?'";
    } else {
        *source = makeDataSource("sqlite:" + path);
    }
    source->embeddedDefault = true;
    source->dataDirSetting = setting;
    return source;
}

}  // namespace

const char* dataDirSetting() noexcept {
    const char* value = std::getenv(kDataDirVariable);
    return value != nullptr ? value : "";
}

std::uint64_t dataSourceGeneration() noexcept {
    return g_generation.load(std::memory_order_acquire);
}

std::shared_ptr<const DataSource> resolveDataSource(const std::string& name) {
    {
        State& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        if (!s.environmentLoaded) {
            loadEnvironment(s);
        }
        if (auto it = s.runtime.find(name); it != s.runtime.end()) {
            return it->second;
        }
        if (!s.environmentProblem.empty()) {
            return invalidSource(s.environmentProblem);
        }
        if (auto it = s.environment.find(name); it != s.environment.end()) {
            return it->second;
        }
    }
    return defaultSource(name);
}

}  // namespace vorn::dal

// The calls of <vorn/datasource.h>.
namespace vorn {

using dal::DataSource;
using dal::DataSourcePairs;
using dal::g_generation;
using dal::loadEnvironment;
using dal::logProblem;
using dal::makeDataSource;
using dal::parseDataSourceList;
using dal::resolveDataSource;
using dal::State;
using dal::state;

unsigned long bindDataSource(const std::string& name, const std::string& url) {
    if (name.empty()) {
        logProblem("bindDataSource", __LINE__, "bindDataSource: the session name is empty");
        return platform::errc::kDataSourceInvalid;
    }
    auto source = std::make_shared<const DataSource>(makeDataSource(url));
    State& s = state();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.runtime[name] = source;
        g_generation.fetch_add(1, std::memory_order_acq_rel);
    }
    if (!source->valid()) {
        logProblem("bindDataSource", __LINE__,
                   "data source \"" + name + "\" is invalid: " + source->problem +
                       "; calls on this session name fail until it is rebound");
        return platform::errc::kDataSourceInvalid;
    }
    return 0;
}

unsigned long bindDataSources(const std::string& list) {
    DataSourcePairs pairs;
    std::string problem;
    if (!parseDataSourceList(list, pairs, problem)) {
        logProblem("bindDataSources", __LINE__,
                   "bindDataSources: " + problem + "; nothing was bound");
        return platform::errc::kDataSourceInvalid;
    }
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    for (const auto& [name, url] : pairs) {
        s.runtime[name] = std::make_shared<const DataSource>(makeDataSource(url));
    }
    g_generation.fetch_add(1, std::memory_order_acq_rel);
    return 0;
}

void unbindDataSource(const std::string& name) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.runtime.erase(name);
    g_generation.fetch_add(1, std::memory_order_acq_rel);
}

std::string describeDataSource(const std::string& sessionName) {
    const auto source = resolveDataSource(sessionName);
    return source->valid() ? source->display : std::string();
}

unsigned long reloadDataSourcesFromEnvironment() {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    loadEnvironment(s);
    g_generation.fetch_add(1, std::memory_order_acq_rel);
    return s.environmentProblem.empty() ? 0 : platform::errc::kDataSourceInvalid;
}

}  // namespace vorn

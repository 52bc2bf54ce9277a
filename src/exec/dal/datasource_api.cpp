#include "exec/dal/data_source_registry.h"
#include "vorn/datasource.h"

namespace vorn {

unsigned long bindDataSource(const std::string& sessionName, const std::string& url) {
    return dal::DataSourceRegistry::bind(sessionName, url);
}

unsigned long bindDataSources(const std::string& list) {
    return dal::DataSourceRegistry::bindList(list);
}

void unbindDataSource(const std::string& sessionName) {
    dal::DataSourceRegistry::unbind(sessionName);
}

std::string describeDataSource(const std::string& sessionName) {
    const auto source = dal::DataSourceRegistry::resolve(sessionName);
    return source->valid() ? source->display : std::string();
}

unsigned long reloadDataSourcesFromEnvironment() {
    return dal::DataSourceRegistry::reloadEnvironment();
}

}  // namespace vorn

#include "exec/dal/data_source_list.h"

#include "exec/dal/data_source.h"
#include "exec/platform/ascii.h"

namespace vorn::dal {

using platform::trimBlanks;

bool parseDataSourceList(std::string_view list, DataSourcePairs& out, std::string& problem) {
    out.clear();
    std::size_t item = 0;
    while (!list.empty()) {
        const std::size_t semicolon = list.find(';');
        const std::string_view pair = trimBlanks(list.substr(0, semicolon));
        list =
            semicolon == std::string_view::npos ? std::string_view() : list.substr(semicolon + 1);
        ++item;
        if (pair.empty()) {
            continue;
        }
        const std::size_t eq = pair.find('=');
        const std::string_view name = trimBlanks(pair.substr(0, eq));
        if (eq == std::string_view::npos || name.empty()) {
            problem = "item " + std::to_string(item) + " is not name=url";
            return false;
        }
        const std::string url(trimBlanks(pair.substr(eq + 1)));
        if (url.empty()) {
            problem = "\"" + std::string(name) + "\" has no URL";
            return false;
        }
        for (const auto& earlier : out) {
            if (earlier.first == name) {
                problem = "\"" + std::string(name) + "\" is bound twice";
                return false;
            }
        }
        std::string urlProblem;
        if (checkDataSourceUrl(url, urlProblem) == nullptr) {
            problem = "\"" + std::string(name) + "\": " + urlProblem;
            return false;
        }
        out.emplace_back(std::string(name), url);
    }
    return true;
}

}  // namespace vorn::dal

#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorn::dal {

using DataSourcePairs = std::vector<std::pair<std::string, std::string>>;

// Parses "name=url;name=url". Blanks around names and URLs and empty items are
// ignored. False with a problem text (which never repeats a URL) when an item
// is not name=url, a name repeats, or a URL is malformed.
bool parseDataSourceList(std::string_view list, DataSourcePairs& out, std::string& problem);

}  // namespace vorn::dal

#include <string_view>
#include <utility>

#include "vorn/criterion.h"
#include "vorn/keywords.h"

namespace {

// prefix + "(" + argument + ")". The prefixes keep their leading blank, and
// " avg " its trailing one: " min(age)", " avg (age)".
CVORNCriterionItem aggregate(std::string_view prefix, std::string_view argument) {
    std::string text;
    text.reserve(prefix.size() + argument.size() + 2);
    text.append(prefix).append(1, '(').append(argument).append(1, ')');
    return CVORNCriterionItem(std::move(text));
}

}  // namespace

CVORNCriterionItem vornMin(const CVORNCriterionItem& item) {
    return aggregate(vorn::sql::kMin, item.toString());
}

CVORNCriterionItem vornMax(const CVORNCriterionItem& item) {
    return aggregate(vorn::sql::kMax, item.toString());
}

CVORNCriterionItem vornAvg(const CVORNCriterionItem& item) {
    return aggregate(vorn::sql::kAvg, item.toString());
}

CVORNCriterionItem vornCount(const CVORNCriterionItem& item) {
    return aggregate(vorn::sql::kCount, item.toString());
}

CVORNCriterionItem vornCount() {
    return aggregate(vorn::sql::kCount, "*");
}

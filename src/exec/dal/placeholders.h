#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "exec/dal/batch_parameters.h"
#include "exec/dal/sql_lexer.h"
#include "vorn/platform/data_access.h"

namespace vorn::dal {

// Gives the parameter number (from 1) of the placeholder "{key}", or 0 after
// setting status to the refusal of the text.
using PlaceholderNumber =
    std::function<std::size_t(std::string_view key, platform::ExecResult& status)>;

// How strictly the braces of a text are read.
enum class PlaceholderRule {
    // A batch: "{" up to the next "}" is a placeholder whatever it holds;
    // anything else is left for the store to judge.
    Batch,
    // A bound statement: a placeholder's key is ASCII letters, digits and
    // '_'; any other '{' outside quoted text and comments, and a "$1"
    // parameter of the store's own, are refused (errc::kMalformedPlaceholder).
    Bound,
};

// Copies sql into text with every "{key}" placeholder that stands outside
// quoted text and comments (as dialect quotes them) replaced by marker and
// number(key): "?1", "$2", ... (MarkerStyle::Plain: marker alone). A blank separates the marker
// from a word character (letter, digit, '_', '$', any non-ASCII byte) right before or after the
// placeholder, so that "{a}1" cannot turn into the "?11" of another parameter, nor "x{a}" into
// PostgreSQL's identifier "x$1".
platform::ExecResult rewritePlaceholders(const std::string& sql, const SqlDialect& dialect,
                                         char marker, PlaceholderRule rule,
                                         const PlaceholderNumber& number, std::string& text,
                                         MarkerStyle style = MarkerStyle::Numbered);

// A bound statement's text as one store runs it: placeholders replaced by
// numbered markers, and the name of each number (names[n - 1] for parameter
// n, each name once, in order of first appearance); order holds, for each
// placeholder as it stands, its index into names (what a store with plain
// markers binds, one value per marker).
struct BoundText {
    std::string text;
    std::vector<std::string> names;
    std::vector<std::size_t> order;
};

// Rewrites sql's placeholders for the store (PlaceholderRule::Bound).
platform::ExecResult makeBoundText(const std::string& sql, const SqlDialect& dialect, char marker,
                                   BoundText& out, MarkerStyle style = MarkerStyle::Numbered);

// Calls visit(i, parameter) for each name of names (i from 0) with the
// parameter of that name, then checks that no value is left over; stops at
// the first failure of visit. Refuses a name without a value
// (errc::kUnknownPlaceholder) and a value no name takes
// (errc::kUnusedParameter).
template <typename Visit>
platform::ExecResult forEachBoundValue(const std::vector<std::string>& names,
                                       const platform::BoundParameters& parameters, Visit&& visit);

platform::ExecResult missingValue(const std::string& name);
// The refusal of parameters that hold more than names take.
platform::ExecResult leftOverValue(const std::vector<std::string>& names,
                                   const platform::BoundParameters& parameters);

// A bound value as the batch writers bind values: its element code
// (kNullValue for NULL) and the element.
BatchValue batchValueOf(const platform::BoundValue& value) noexcept;

template <typename Visit>
platform::ExecResult forEachBoundValue(const std::vector<std::string>& names,
                                       const platform::BoundParameters& parameters, Visit&& visit) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        const platform::BoundParameter* found = nullptr;
        for (const platform::BoundParameter& parameter : parameters) {
            if (parameter.name == names[i]) {
                found = &parameter;
                break;
            }
        }
        if (found == nullptr) {
            return missingValue(names[i]);
        }
        platform::ExecResult status = visit(i, *found);
        if (!status.ok()) {
            return status;
        }
    }
    // Each name is bound once, so every value is taken when the counts agree.
    return names.size() == parameters.size() ? platform::ExecResult()
                                             : leftOverValue(names, parameters);
}

}  // namespace vorn::dal

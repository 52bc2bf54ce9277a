#include "exec/dal/placeholders.h"

#include <algorithm>

#include "exec/platform/type_registry.h"
#include "vorn/platform/error_codes.h"

namespace vorn::dal {
namespace {

using platform::ExecResult;
namespace errc = platform::errc;

bool isNameChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool isName(std::string_view key) {
    return !key.empty() && std::all_of(key.begin(), key.end(), isNameChar);
}

ExecResult malformed(std::string_view what) {
    return ExecResult::failure(errc::kMalformedPlaceholder,
                               std::string(what) +
                                   "; a placeholder is {name}, the name made of ASCII letters, "
                                   "digits and '_'");
}

// The refusal of a token that a bound statement cannot hold, if it is one.
ExecResult checkBoundToken(std::string_view sql, const SqlLexer::Token& token) {
    const std::string_view piece = sql.substr(token.begin, token.end - token.begin);
    if (token.kind == SqlLexer::Kind::Param) {
        return malformed("the text holds the parameter " + std::string(piece) +
                         " of the store's own");
    }
    if (token.isSymbol(sql, '{')) {
        return malformed("a '{' with no '}' after it");
    }
    if (token.kind == SqlLexer::Kind::Placeholder && !isName(piece.substr(1, piece.size() - 2))) {
        return malformed("\"" + std::string(piece) + "\" is no placeholder");
    }
    return {};
}

// Whether c would run on with a marker into one token: a character of a
// word (non-ASCII bytes included, as both stores read identifiers) or '$'.
bool gluesToNumber(char c) {
    return isNameChar(c) || c == '$' || static_cast<unsigned char>(c) >= 0x80;
}

}  // namespace

ExecResult rewritePlaceholders(const std::string& sql, const SqlDialect& dialect, char marker,
                               PlaceholderRule rule, const PlaceholderNumber& number,
                               std::string& text, MarkerStyle style) {
    const std::string_view view(sql);
    text.clear();
    text.reserve(sql.size() + 8);
    std::size_t copied = 0;
    SqlLexer lexer(view, dialect);
    for (SqlLexer::Token token = lexer.next(); token.kind != SqlLexer::Kind::End;
         token = lexer.next()) {
        if (rule == PlaceholderRule::Bound) {
            ExecResult refused = checkBoundToken(view, token);
            if (!refused.ok()) {
                return refused;
            }
        }
        if (token.kind != SqlLexer::Kind::Placeholder) {
            continue;
        }
        ExecResult status;
        const std::size_t n =
            number(view.substr(token.begin + 1, token.end - token.begin - 2), status);
        if (n == 0) {
            return status;
        }
        text.append(view.substr(copied, token.begin - copied));
        if (!text.empty() && gluesToNumber(text.back())) {
            text.push_back(' ');
        }
        text.push_back(marker);
        if (style == MarkerStyle::Numbered) {
            text.append(std::to_string(n));
        }
        if (token.end < view.size() && gluesToNumber(view[token.end])) {
            text.push_back(' ');
        }
        copied = token.end;
    }
    text.append(view.substr(copied));
    return {};
}

ExecResult makeBoundText(const std::string& sql, const SqlDialect& dialect, char marker,
                         BoundText& out, MarkerStyle style) {
    out.names.clear();
    out.order.clear();
    return rewritePlaceholders(
        sql, dialect, marker, PlaceholderRule::Bound,
        [&out](std::string_view key, ExecResult& /*status*/) {
            auto it = std::find(out.names.begin(), out.names.end(), key);
            if (it == out.names.end()) {
                out.names.emplace_back(key);
                it = out.names.end() - 1;
            }
            out.order.push_back(static_cast<std::size_t>(it - out.names.begin()));
            return out.order.back() + 1;
        },
        out.text, style);
}

ExecResult missingValue(const std::string& name) {
    return ExecResult::failure(errc::kUnknownPlaceholder,
                               "placeholder {" + name + "} has no value bound");
}

ExecResult leftOverValue(const std::vector<std::string>& names,
                         const platform::BoundParameters& parameters) {
    for (const platform::BoundParameter& parameter : parameters) {
        if (std::find(names.begin(), names.end(), parameter.name) == names.end()) {
            return ExecResult::failure(
                errc::kUnusedParameter,
                "a value is bound to {" + parameter.name + "}, which the statement does not hold");
        }
    }
    return ExecResult::failure(errc::kBadParameters, "a name is bound more than once");
}

BatchValue batchValueOf(const platform::BoundValue& value) noexcept {
    namespace typecode = platform::typecode;
    if (const auto* text = std::get_if<std::string>(&value)) {
        return {typecode::kString, text};
    }
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
        return {typecode::kInt64, integer};
    }
    if (const auto* unsignedInteger = std::get_if<std::uint64_t>(&value)) {
        return {typecode::kUInt64, unsignedInteger};
    }
    if (const auto* single = std::get_if<float>(&value)) {
        return {typecode::kFloat, single};
    }
    if (const auto* real = std::get_if<double>(&value)) {
        return {typecode::kDouble, real};
    }
    return {kNullValue, nullptr};
}

}  // namespace vorn::dal

// The placeholder rewrite of bound statements, on arbitrary text in both
// stores' quoting. Invariants:
//   - the rewritten text reads, token for token, as the text written, each
//     placeholder turned into the marker of its name's number and nothing
//     else changed: no quoted text, comment or statement boundary moves;
//   - each name is a well-formed name, listed once;
//   - a refusal is one of the bound statements' own codes.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "exec/dal/placeholders.h"
#include "exec/dal/sql_lexer.h"
#include "fuzz_check.h"
#include "vorn/platform/error_codes.h"

namespace {

using vorn::dal::SqlDialect;
using vorn::dal::SqlLexer;
namespace errc = vorn::platform::errc;

const SqlDialect kDialects[] = {{true, true, true, false}, {false, false, false, true}};

// The tokens of text; placeholders given as the marker's text, looked up in
// names, so that the original and the rewrite can be compared.
std::vector<std::string> tokens(const std::string& text, const SqlDialect& dialect,
                                const std::vector<std::string>* names) {
    std::vector<std::string> out;
    SqlLexer lexer(text, dialect);
    for (auto t = lexer.next(); t.kind != SqlLexer::Kind::End; t = lexer.next()) {
        std::string piece = text.substr(t.begin, t.end - t.begin);
        if (names != nullptr && t.kind == SqlLexer::Kind::Placeholder) {
            const std::string key = piece.substr(1, piece.size() - 2);
            std::size_t n = 0;
            while (n < names->size() && (*names)[n] != key) {
                ++n;
            }
            VORN_FUZZ_CHECK_TEXT(n < names->size(), text);
            piece = "$" + std::to_string(n + 1);
        }
        out.push_back(std::move(piece));
    }
    return out;
}

bool isName(const std::string& name) {
    if (name.empty()) {
        return false;
    }
    for (const char c : name) {
        const bool ok =
            (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
        if (!ok) {
            return false;
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const SqlDialect& dialect = kDialects[data[0] % 2];
    const std::string sql(reinterpret_cast<const char*>(data + 1), size - 1);
    vorn::dal::BoundText bound;
    const auto status = vorn::dal::makeBoundText(sql, dialect, '$', bound);
    if (!status.ok()) {
        VORN_FUZZ_CHECK_TEXT(status.errorCode() == errc::kMalformedPlaceholder, sql);
        return 0;
    }
    for (std::size_t i = 0; i < bound.names.size(); ++i) {
        VORN_FUZZ_CHECK_TEXT(isName(bound.names[i]), sql);
        for (std::size_t j = 0; j < i; ++j) {
            VORN_FUZZ_CHECK_TEXT(bound.names[i] != bound.names[j], sql);
        }
    }
    VORN_FUZZ_CHECK_TEXT(tokens(sql, dialect, &bound.names) == tokens(bound.text, dialect, nullptr),
                         sql);
    return 0;
}

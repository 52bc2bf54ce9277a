// The condition texts live inside their objects while short and move to the
// heap once longer. Whatever the length, a text must keep every character
// through appends, copies, moves and self-appends, and a condition must render
// the same on either side of the boundary.
#include "vorn/detail/inline_text.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "statement/text_concat.h"
#include "vorn/criterion.h"
#include "vorn/selector.h"

namespace {

using vorn::detail::InlineText;

constexpr std::size_t kInline = InlineText::kInlineSize;

// Lengths around the inline size, and one that needs two heap growths.
const std::vector<std::size_t> kLengths = {0, 1, kInline - 1, kInline, kInline + 1, 5 * kInline};

std::string pattern(std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) {
        text.push_back(static_cast<char>('a' + i % 26));
    }
    return text;
}

// Builds the text in pieces of 1, 2, 3, ... characters.
InlineText builtInPieces(const std::string& text) {
    InlineText built;
    for (std::size_t at = 0, piece = 1; at < text.size(); at += piece, ++piece) {
        built.append(std::string_view(text).substr(at, piece));
    }
    return built;
}

TEST(InlineText, KeepsEveryCharacterThroughAppendsCopiesMovesAndEnclosing) {
    const std::string value = pattern(kInline);
    for (const std::size_t length : kLengths) {
        SCOPED_TRACE(length);
        const std::string expected = pattern(length);
        InlineText text = builtInPieces(expected);
        EXPECT_EQ(text.view(), expected);

        const InlineText copy(text);
        EXPECT_EQ(copy.view(), expected);
        InlineText assigned(std::string_view("something else entirely"));
        assigned = text;
        EXPECT_EQ(assigned.view(), expected);
        InlineText doubled(text);
        doubled.append(doubled.view());  // its own text, on either side of the boundary
        EXPECT_EQ(doubled.view(), expected + expected);
        InlineText enclosed(text);
        vorn::detail::encloseConcat(enclosed, {"='", value, "'"});
        EXPECT_EQ(enclosed.view(), "(" + expected + "='" + value + "')");

        InlineText moved(std::move(text));
        EXPECT_EQ(moved.view(), expected);
        EXPECT_TRUE(text.empty());  // NOLINT(bugprone-use-after-move): a moved-from text is empty
        text.append("reused");
        EXPECT_EQ(text.view(), "reused");

        InlineText moveAssigned(std::string_view(pattern(2 * kInline)));
        moveAssigned = std::move(moved);
        EXPECT_EQ(moveAssigned.view(), expected);
    }
}

// A condition whose parts cross the inline size on the way renders exactly
// what the same text written by hand gives.
TEST(InlineText, LongConditionsRenderAsShortOnesDo) {
    for (const std::size_t length : kLengths) {
        SCOPED_TRACE(length);
        const std::string value = pattern(length);
        CVORNSelector selector;
        selector.table("t");
        CVORNCriterion condition = CVORNTable("t")["a"] == value;
        condition && (CVORNTable("t")["b"] != value) && (CVORNTable("t")["c"] >= 7);
        selector.where(condition || condition);
        const std::string first =
            "(((t.a='" + value + "') and (t.b!='" + value + "')) and (t.c >= 7))";
        EXPECT_EQ(selector.toString(), "select  *  from t where (" + first + " or " + first + ")");
    }
}

}  // namespace

#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>

#include "vorn/base.h"

namespace vorn::test {

// One rendering rule: the calls made on a fresh builder and the exact text it
// must render afterwards.
template <typename Builder>
struct RenderCase {
    std::string name;
    std::function<void(Builder&)> calls;
    std::string expected;
};

template <typename Builder>
void PrintTo(const RenderCase<Builder>& example, std::ostream* os) {
    *os << example.name;
}

// Builds and renders twice, once through the base: rendering must not change
// the builder, and the executor sees only the base.
template <typename Builder>
void expectRenders(const RenderCase<Builder>& example) {
    Builder builder;
    example.calls(builder);
    EXPECT_EQ(builder.toString(), example.expected);
    const auto& base = static_cast<const CVORNBase&>(builder);
    EXPECT_EQ(base.toString(), example.expected) << "a second rendering differs";
}

// Names each instantiated test after its case.
struct CaseName {
    template <typename Param>
    std::string operator()(const ::testing::TestParamInfo<Param>& info) const {
        return info.param.name;
    }
};

}  // namespace vorn::test

// Prints the cases of a table (type Case, with a member name) by their names.
#define VORN_PRINT_BY_NAME(Case)                                     \
    [[maybe_unused]] void PrintTo(const Case& c, std::ostream* os) { \
        *os << c.name;                                               \
    }                                                                \
    static_assert(true, "")

// One parameterised test per table of rendering rules: Suite/Rules.Renders/<case>.
#define VORN_RENDER_RULES(Suite, Builder, table)                                       \
    class Suite : public ::testing::TestWithParam<vorn::test::RenderCase<Builder>> {}; \
    TEST_P(Suite, Renders) {                                                           \
        vorn::test::expectRenders(GetParam());                                         \
    }                                                                                  \
    INSTANTIATE_TEST_SUITE_P(Rules, Suite, ::testing::ValuesIn(table), vorn::test::CaseName())

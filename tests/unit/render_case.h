#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>

namespace vorn::test {

// One rendering example: the calls made on a fresh builder and the exact text
// it must render afterwards.
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

// Builds and renders twice: rendering must not change the builder.
template <typename Builder>
void expectRenders(const RenderCase<Builder>& example) {
    Builder builder;
    example.calls(builder);
    EXPECT_EQ(builder.toString(), example.expected);
    EXPECT_EQ(builder.toString(), example.expected) << "a second rendering differs";
}

// Names each instantiated test after its case.
struct CaseName {
    template <typename Param>
    std::string operator()(const ::testing::TestParamInfo<Param>& info) const {
        return info.param.name;
    }
};

}  // namespace vorn::test

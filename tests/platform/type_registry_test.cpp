// The container records the batch path reads a column through: its element
// code, its length, and a forward walk over its elements. That each type gets
// one record, however many callers ask at once: type_registry_first_use_test.cpp.
#include "exec/platform/type_registry.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using vorn::platform::ContainerRecord;
using vorn::platform::TypeDescriptor;
using vorn::platform::TypeRegistry;
namespace typecode = vorn::platform::typecode;

// Per element type: its registry code and three distinct sample values.
template <class T>
struct Samples;
template <>
struct Samples<std::string> {
    static constexpr std::uint32_t code = typecode::kString;
    static std::vector<std::string> values() { return {"a", "it's", std::string("x\0y", 3)}; }
};
template <>
struct Samples<std::int64_t> {
    static constexpr std::uint32_t code = typecode::kInt64;
    static std::vector<std::int64_t> values() { return {-1, INT64_MIN, INT64_MAX}; }
};
template <>
struct Samples<std::uint64_t> {
    static constexpr std::uint32_t code = typecode::kUInt64;
    static std::vector<std::uint64_t> values() { return {0, 9223372036854775808ULL, UINT64_MAX}; }
};
template <>
struct Samples<float> {
    static constexpr std::uint32_t code = typecode::kFloat;
    static std::vector<float> values() { return {1.5F, -0.25F, 3.4e38F}; }
};
template <>
struct Samples<double> {
    static constexpr std::uint32_t code = typecode::kDouble;
    static std::vector<double> values() { return {1e300, -2.5, 0.1}; }
};

template <class T>
class VectorRecord : public ::testing::Test {};

using ElementTypes = ::testing::Types<std::string, std::int64_t, std::uint64_t, float, double>;
TYPED_TEST_SUITE(VectorRecord, ElementTypes);

TYPED_TEST(VectorRecord, KnowsItsElementTypeAndWalksTheElementsInOrder) {
    TypeDescriptor descriptor;
    TypeRegistry::registerVectorType<std::vector<TypeParam>>(descriptor, typecode::kContainer,
                                                             "std::vector", 0);
    ASSERT_NE(descriptor.record, nullptr);
    EXPECT_EQ(descriptor.code, typecode::kContainer);
    const ContainerRecord& r = *descriptor.record;
    EXPECT_EQ(r.elementCode, Samples<TypeParam>::code);
    std::vector<TypeParam> values = Samples<TypeParam>::values();
    std::vector<TypeParam> walked;
    for (void* e = r.first(&values); e != nullptr; e = r.next(&values, e)) {
        walked.push_back(*static_cast<const TypeParam*>(e));
    }
    EXPECT_EQ(r.count(&values), values.size());
    EXPECT_EQ(walked, values);

    std::vector<TypeParam> empty;
    EXPECT_EQ(r.count(&empty), 0U);
    EXPECT_EQ(r.first(&empty), nullptr);
}

}  // namespace

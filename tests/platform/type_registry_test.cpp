// The container records the batch path reads a column through: its element
// code, its length, and a forward walk over its elements.
#include "vorn/platform/type_registry.h"

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

TYPED_TEST(VectorRecord, IsMadeOnceAndKnowsItsElementType) {
    using Vector = std::vector<TypeParam>;
    TypeDescriptor first;
    TypeRegistry::registerVectorType<Vector>(first, typecode::kContainer, "std::vector", 0);
    ASSERT_NE(first.record, nullptr);
    EXPECT_EQ(first.code, typecode::kContainer);
    EXPECT_EQ(first.record->elementCode, Samples<TypeParam>::code);

    const std::size_t records = TypeRegistry::recordCount();
    TypeDescriptor again;
    TypeRegistry::registerVectorType<Vector>(again, 99, "other", 0xFF);
    EXPECT_EQ(again.record, first.record);
    EXPECT_EQ(again.code, 99U);
    EXPECT_EQ(TypeRegistry::recordCount(), records);
}

TYPED_TEST(VectorRecord, CountsAndWalksTheElementsInOrder) {
    TypeDescriptor descriptor;
    TypeRegistry::registerVectorType<std::vector<TypeParam>>(descriptor, typecode::kContainer,
                                                             "std::vector", 0);
    const ContainerRecord& r = *descriptor.record;
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

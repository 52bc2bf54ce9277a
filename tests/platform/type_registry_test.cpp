#include "vorn/platform/type_registry.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using vorn::platform::ContainerRecord;
using vorn::platform::ElementCursor;
using vorn::platform::RegistryLockGuard;
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
class VectorRecord : public ::testing::Test {
  protected:
    using Vector = std::vector<T>;

    void SetUp() override {
        TypeRegistry::registerVectorType<Vector>(m_descriptor, typecode::kContainer, "std::vector",
                                                 0);
        ASSERT_NE(m_descriptor.record, nullptr);
        m_record = m_descriptor.record;
        m_values = Samples<T>::values();
        m_vector = m_values;
    }

    void* container() { return &m_vector; }
    const T& at(void* element) const { return *static_cast<const T*>(element); }

    // The elements met walking forward with first/next.
    std::vector<T> walkForward() {
        std::vector<T> out;
        for (void* e = m_record->first(container()); e != nullptr;
             e = m_record->next(container(), e)) {
            out.push_back(at(e));
        }
        return out;
    }

    TypeDescriptor m_descriptor;
    const ContainerRecord* m_record = nullptr;
    std::vector<T> m_values;
    Vector m_vector;
};

using ElementTypes = ::testing::Types<std::string, std::int64_t, std::uint64_t, float, double>;
TYPED_TEST_SUITE(VectorRecord, ElementTypes);

TYPED_TEST(VectorRecord, DescribesTheVectorType) {
    const ContainerRecord& r = *this->m_record;
    EXPECT_EQ(this->m_descriptor.code, typecode::kContainer);
    EXPECT_EQ(r.name, "std::vector");
    EXPECT_EQ(r.objectSize, sizeof(std::vector<TypeParam>));
    EXPECT_EQ(r.elementCode, Samples<TypeParam>::code);
    EXPECT_EQ(r.flags & 0x30U, 0U);

    // Later registrations share the record and leave the descriptor's flags.
    const std::size_t records = TypeRegistry::recordCount();
    TypeDescriptor again;
    again.flags = vorn::platform::kFlagReference;
    TypeRegistry::registerVectorType<std::vector<TypeParam>>(again, 99, "other", 0xFF);
    EXPECT_EQ(again.record, this->m_descriptor.record);
    EXPECT_EQ(again.code, 99U);
    EXPECT_EQ(again.flags, vorn::platform::kFlagReference);
    EXPECT_EQ(r.name, "std::vector");
    EXPECT_EQ(TypeRegistry::recordCount(), records);
    EXPECT_LE(records, 5U);
}

TYPED_TEST(VectorRecord, CreatesAndDestroysEmptyContainers) {
    const ContainerRecord& r = *this->m_record;
    void* made = r.create();
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(r.count(made), 0U);
    EXPECT_EQ(r.first(made), nullptr);
    r.appendCopy(made, &this->m_values[0]);
    EXPECT_EQ(r.count(made), 1U);
    r.destroy(made);  // the sanitizer build checks storage is released
}

TYPED_TEST(VectorRecord, WalksForwardInOrder) {
    EXPECT_EQ(this->m_record->count(this->container()), this->m_values.size());
    EXPECT_EQ(this->walkForward(), this->m_values);
    EXPECT_EQ(this->m_record->first(this->container()), this->m_vector.data());
    EXPECT_EQ(this->m_record->next(this->container(), &this->m_vector.back()), nullptr);
}

TYPED_TEST(VectorRecord, StepsBackToTheFirstElement) {
    const ContainerRecord& r = *this->m_record;
    std::vector<TypeParam> backwards;
    for (void* e = &this->m_vector.back(); e != nullptr; e = r.previous(this->container(), e)) {
        backwards.push_back(this->at(e));
    }
    EXPECT_EQ(backwards, (std::vector<TypeParam>(this->m_values.rbegin(), this->m_values.rend())));
    EXPECT_EQ(r.previous(this->container(), this->m_vector.data()), nullptr);
}

TYPED_TEST(VectorRecord, ReverseCursorStartsAtTheLastElement) {
    const ContainerRecord& r = *this->m_record;
    ElementCursor* cursor = r.makeReverseCursor(this->container());
    ASSERT_NE(cursor, nullptr);
    std::vector<TypeParam> backwards;
    for (; cursor->element != nullptr;
         cursor->element = r.previous(this->container(), cursor->element)) {
        backwards.push_back(this->at(cursor->element));
    }
    r.freeCursor(cursor);
    EXPECT_EQ(backwards, (std::vector<TypeParam>(this->m_values.rbegin(), this->m_values.rend())));

    this->m_vector.clear();
    ElementCursor* onEmpty = r.makeReverseCursor(this->container());
    EXPECT_EQ(onEmpty->element, nullptr);
    r.freeCursor(onEmpty);
}

TYPED_TEST(VectorRecord, RemovesLastAndClears) {
    const ContainerRecord& r = *this->m_record;
    r.removeLast(this->container());
    EXPECT_EQ(this->walkForward(),
              (std::vector<TypeParam>(this->m_values.begin(), this->m_values.end() - 1)));
    r.clear(this->container());
    EXPECT_EQ(r.count(this->container()), 0U);
    EXPECT_EQ(r.first(this->container()), nullptr);
    r.removeLast(this->container());  // harmless on an empty container
    EXPECT_TRUE(this->m_vector.empty());
}

TYPED_TEST(VectorRecord, AppendsDefaultAndCopies) {
    const ContainerRecord& r = *this->m_record;
    r.clear(this->container());
    void* appended = r.appendDefault(this->container());
    ASSERT_EQ(appended, &this->m_vector.back());
    EXPECT_EQ(this->at(appended), TypeParam{});
    *static_cast<TypeParam*>(appended) = this->m_values[1];
    EXPECT_EQ(this->m_vector.front(), this->m_values[1]);

    void* copy = r.appendCopy(this->container(), &this->m_values[2]);
    ASSERT_EQ(copy, &this->m_vector.back());
    EXPECT_EQ(this->at(copy), this->m_values[2]);
    // Copying an element of the container itself, through reallocations.
    for (int i = 0; i < 40; ++i) {
        r.appendCopy(this->container(), r.first(this->container()));
    }
    EXPECT_EQ(r.count(this->container()), 42U);
    EXPECT_EQ(this->m_vector.back(), this->m_values[1]);
}

TEST(RegistryLock, IsRecursive) {
    const RegistryLockGuard outer;
    const RegistryLockGuard inner;
    TypeDescriptor descriptor;
    // Registration takes the lock again on first use of a type.
    TypeRegistry::registerVectorType<std::vector<double>>(descriptor, typecode::kContainer,
                                                          "std::vector", 0);
    EXPECT_NE(descriptor.record, nullptr);
}

}  // namespace

// The container records the batch path reads a column through: one record
// per type with its element code, however many callers ask at once. The walk
// over a column's elements is what every batch round trip reads
// (tests/dal/contract/batch_test.cpp, tests/e2e/batch_exec_test.cpp).
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "exec/platform/type_registry.h"

// This program must not register any type before the first test below: it
// checks what concurrent first use does to a fresh process.

namespace {

using vorn::platform::ContainerRecord;
using vorn::platform::TypeDescriptor;
using vorn::platform::TypeRegistry;
namespace typecode = vorn::platform::typecode;

constexpr int kThreads = 16;
constexpr int kTypes = 5;

using Register = void (*)(TypeDescriptor&);
template <class T>
void registerVector(TypeDescriptor& d) {
    TypeRegistry::registerVectorType<std::vector<T>>(d, typecode::kContainer, "std::vector", 0);
}
const Register kRegister[kTypes] = {registerVector<std::string>, registerVector<std::int64_t>,
                                    registerVector<std::uint64_t>, registerVector<float>,
                                    registerVector<double>};
const std::uint32_t kElementCode[kTypes] = {typecode::kString, typecode::kInt64, typecode::kUInt64,
                                            typecode::kFloat, typecode::kDouble};

TEST(TypeRegistryFirstUse, ConcurrentCallersShareOneRecordPerType) {
    ASSERT_EQ(TypeRegistry::recordCount(), 0U) << "a type was registered before this test";

    std::vector<std::vector<TypeDescriptor>> seen(kThreads, std::vector<TypeDescriptor>(kTypes));
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &seen, &ready] {
            ++ready;
            while (ready.load() < kThreads) {
                std::this_thread::yield();  // start all threads together
            }
            // Each thread takes the types in its own order.
            for (int i = 0; i < kTypes; ++i) {
                const int type = (t + i) % kTypes;
                kRegister[type](seen[t][type]);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(TypeRegistry::recordCount(), static_cast<std::size_t>(kTypes));
    for (int type = 0; type < kTypes; ++type) {
        const ContainerRecord* record = seen[0][type].record;
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->elementCode, kElementCode[type]);
        for (int t = 0; t < kThreads; ++t) {
            EXPECT_EQ(seen[t][type].record, record) << "thread " << t << " type " << type;
            EXPECT_EQ(seen[t][type].code, typecode::kContainer);
        }
    }
}

}  // namespace

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "vorn/platform/type_registry.h"

// This program must not register any type before the first test below: it
// checks what concurrent first use does to a fresh process.

namespace {

using vorn::platform::ContainerRecord;
using vorn::platform::RegistryLockGuard;
using vorn::platform::TypeDescriptor;
using vorn::platform::TypeRegistry;
namespace typecode = vorn::platform::typecode;

constexpr int kThreads = 16;
constexpr int kTypes = 5;
constexpr std::uint32_t kFlags = 0x37;

using Register = void (*)(TypeDescriptor&);
template <class T>
void registerVector(TypeDescriptor& d) {
    TypeRegistry::registerVectorType<std::vector<T>>(d, typecode::kContainer, "std::vector",
                                                     kFlags);
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
        EXPECT_EQ(record->typeFlags, kFlags);
        EXPECT_EQ(record->flags, kFlags & ~0x30U);
        for (int t = 0; t < kThreads; ++t) {
            EXPECT_EQ(seen[t][type].record, record) << "thread " << t << " type " << type;
            EXPECT_EQ(seen[t][type].code, typecode::kContainer);
        }
    }
}

TEST(TypeRegistryLock, ExcludesOtherThreads) {
    constexpr int kIncrements = 5000;
    long counter = 0;  // deliberately not atomic: only the lock protects it
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&counter] {
            for (int i = 0; i < kIncrements; ++i) {
                const RegistryLockGuard outer;
                const RegistryLockGuard inner;
                ++counter;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter, 4L * kIncrements);
}

}  // namespace

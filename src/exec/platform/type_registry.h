#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "vorn/export.h"
#include "vorn/platform/typed_ref.h"

namespace vorn::platform {

// A heap cursor for reverse walks over a container's elements.
struct ElementCursor {
    void* element;  // null once the walk has passed the first element
};

// The registry's record of one container type: basic type information and the
// element operations through which generic code (the data-access layer) walks
// and edits a container without knowing its C++ type.
struct ContainerRecord {
    std::string name;
    std::size_t objectSize = 0;
    void* (*create)() = nullptr;       // a new empty container on the heap
    void (*destroy)(void*) = nullptr;  // destroys such a container with its storage
    std::uint32_t typeFlags = 0;

    std::size_t (*count)(const void* container) = nullptr;
    void* (*first)(void* container) = nullptr;                       // null when empty
    void* (*next)(void* container, void* element) = nullptr;         // null past the end
    void* (*previous)(void* container, void* element) = nullptr;     // null before the first
    ElementCursor* (*makeReverseCursor)(void* container) = nullptr;  // at the last element
    void (*freeCursor)(ElementCursor* cursor) = nullptr;
    void (*removeLast)(void* container) = nullptr;  // nothing happens on an empty container
    void (*clear)(void* container) = nullptr;
    void* (*appendDefault)(void* container) = nullptr;
    void* (*appendCopy)(void* container, const void* element) = nullptr;

    std::uint32_t elementCode = 0;  // typecode::kString, kInt64, ...
    // The distance in bytes between neighbouring elements when the container
    // keeps them contiguous (std::vector), so that a walk needs no call per
    // element; 0 when it does not.
    std::size_t elementStride = 0;
    // The low byte of the registration flags, with bits 0x10 and 0x20 cleared.
    std::uint8_t flags = 0;
};

// Process-wide registry of the container types used as batch columns. Records
// are created lazily, once per type, under one recursive lock, and never freed.
class TypeRegistry {
  public:
    // The registry lock (recursive).
    static void lock();
    static void unlock();

    // Fills descriptor with code and the record of Vector, creating the record
    // on first use; the descriptor's flags are left as they are. The record
    // keeps the name and flags of the call that created it. Instantiated for
    // std::vector of std::string, std::int64_t, std::uint64_t, float and double.
    template <class Vector>
    static void registerVectorType(TypeDescriptor& descriptor, std::uint32_t code, const char* name,
                                   std::uint32_t flags);

    static void setTypeBasics(ContainerRecord& record, const char* name, std::size_t objectSize,
                              void* (*create)(), void (*destroy)(void*), std::uint32_t flags);

    // Number of container records created so far in this process.
    static std::size_t recordCount();
};

// RAII holder of the registry lock.
class RegistryLockGuard {
  public:
    RegistryLockGuard() { TypeRegistry::lock(); }
    ~RegistryLockGuard() { TypeRegistry::unlock(); }
    RegistryLockGuard(const RegistryLockGuard&) = delete;
    RegistryLockGuard& operator=(const RegistryLockGuard&) = delete;
};

extern template void TypeRegistry::registerVectorType<std::vector<std::string>>(TypeDescriptor&,
                                                                                std::uint32_t,
                                                                                const char*,
                                                                                std::uint32_t);
extern template void TypeRegistry::registerVectorType<std::vector<std::int64_t>>(TypeDescriptor&,
                                                                                 std::uint32_t,
                                                                                 const char*,
                                                                                 std::uint32_t);
extern template void TypeRegistry::registerVectorType<std::vector<std::uint64_t>>(TypeDescriptor&,
                                                                                  std::uint32_t,
                                                                                  const char*,
                                                                                  std::uint32_t);
extern template void TypeRegistry::registerVectorType<std::vector<float>>(TypeDescriptor&,
                                                                          std::uint32_t,
                                                                          const char*,
                                                                          std::uint32_t);
extern template void TypeRegistry::registerVectorType<std::vector<double>>(TypeDescriptor&,
                                                                           std::uint32_t,
                                                                           const char*,
                                                                           std::uint32_t);

}  // namespace vorn::platform

#include "exec/platform/type_registry.h"

#include <atomic>
#include <mutex>

#include "vector_operations.h"

namespace vorn::platform {

namespace {

// Record flag bits that describe references and do not apply to a container
// type; they are cleared when a record is created.
constexpr std::uint8_t kClearedRecordFlags = 0x10 | 0x20;

std::recursive_mutex& registryMutex() {
    // Never destroyed: records and the lock outlive every static object.
    static auto* const mutex = new std::recursive_mutex();
    return *mutex;
}

std::atomic<std::size_t> g_recordCount{0};

template <class T>
struct ElementCode;
template <>
struct ElementCode<std::string> {
    static constexpr std::uint32_t value = typecode::kString;
};
template <>
struct ElementCode<std::int64_t> {
    static constexpr std::uint32_t value = typecode::kInt64;
};
template <>
struct ElementCode<std::uint64_t> {
    static constexpr std::uint32_t value = typecode::kUInt64;
};
template <>
struct ElementCode<float> {
    static constexpr std::uint32_t value = typecode::kFloat;
};
template <>
struct ElementCode<double> {
    static constexpr std::uint32_t value = typecode::kDouble;
};

// The record of one vector type, published once it is complete.
template <class Vector>
std::atomic<const ContainerRecord*> g_record{nullptr};

}  // namespace

void TypeRegistry::lock() {
    registryMutex().lock();
}

void TypeRegistry::unlock() {
    registryMutex().unlock();
}

void TypeRegistry::setTypeBasics(ContainerRecord& record, const char* name, std::size_t objectSize,
                                 void* (*create)(), void (*destroy)(void*), std::uint32_t flags) {
    record.name = name != nullptr ? name : "";
    record.objectSize = objectSize;
    record.create = create;
    record.destroy = destroy;
    record.typeFlags = flags;
}

std::size_t TypeRegistry::recordCount() {
    return g_recordCount.load(std::memory_order_acquire);
}

// Double-checked creation: the common case is one acquire load; the first
// callers serialise on the registry lock and only the first of them builds
// the record. name and flags of that first call are kept; later calls share
// the record whatever they pass.
template <class Vector>
void TypeRegistry::registerVectorType(TypeDescriptor& descriptor, std::uint32_t code,
                                      const char* name, std::uint32_t flags) {
    using Element = typename Vector::value_type;
    const ContainerRecord* record = g_record<Vector>.load(std::memory_order_acquire);
    if (record == nullptr) {
        const RegistryLockGuard guard;
        record = g_record<Vector>.load(std::memory_order_acquire);
        if (record == nullptr) {
            auto* created = new ContainerRecord();  // never freed
            setTypeBasics(*created, name, sizeof(Vector),
                          &detail::VectorOperations<Element>::create,
                          &detail::VectorOperations<Element>::destroy, flags);
            detail::VectorOperations<Element>::fill(*created);
            created->elementCode = ElementCode<Element>::value;
            created->flags = static_cast<std::uint8_t>(flags & 0xFFU);
            created->flags &= static_cast<std::uint8_t>(~kClearedRecordFlags);
            g_recordCount.fetch_add(1, std::memory_order_acq_rel);
            g_record<Vector>.store(created, std::memory_order_release);
            record = created;
        }
    }
    descriptor.code = code;
    descriptor.record = record;
}

template void TypeRegistry::registerVectorType<std::vector<std::string>>(TypeDescriptor&,
                                                                         std::uint32_t, const char*,
                                                                         std::uint32_t);
template void TypeRegistry::registerVectorType<std::vector<std::int64_t>>(TypeDescriptor&,
                                                                          std::uint32_t,
                                                                          const char*,
                                                                          std::uint32_t);
template void TypeRegistry::registerVectorType<std::vector<std::uint64_t>>(TypeDescriptor&,
                                                                           std::uint32_t,
                                                                           const char*,
                                                                           std::uint32_t);
template void TypeRegistry::registerVectorType<std::vector<float>>(TypeDescriptor&, std::uint32_t,
                                                                   const char*, std::uint32_t);
template void TypeRegistry::registerVectorType<std::vector<double>>(TypeDescriptor&, std::uint32_t,
                                                                    const char*, std::uint32_t);

}  // namespace vorn::platform

#pragma once

#include <cstdint>
#include <map>
#include <string>

// Typed references through which the data-access interface (DataSession in
// <vorn/platform/data_access.h>) takes a batch's columns and hands out a
// fetched row. The records they point to are made by the library's type
// registry.

namespace vorn::platform {

// Data-type codes of the registry's numbering.
namespace typecode {
inline constexpr std::uint32_t kContainer = 61;   // a standard container ("std::vector")
inline constexpr std::uint32_t kParamMap = 101;   // ParamRefMap: a batch's parameter set
inline constexpr std::uint32_t kRowTarget = 105;  // std::vector<FieldValue>: a fetched row
// Element types of container records.
inline constexpr std::uint32_t kInt64 = 15;
inline constexpr std::uint32_t kFloat = 17;
inline constexpr std::uint32_t kDouble = 18;
inline constexpr std::uint32_t kUInt64 = 25;
inline constexpr std::uint32_t kString = 41;
}  // namespace typecode

// Descriptor flag: the reference does not own the object it points to.
inline constexpr std::uint8_t kFlagReference = 0x20;

struct ContainerRecord;

// A general type descriptor: data-type code, flag bits, and the registry's
// record of the type where the code alone does not describe it.
struct TypeDescriptor {
    std::uint32_t code = 0;
    std::uint8_t flags = 0;
    const ContainerRecord* record = nullptr;
};

// A non-owning typed reference to a caller's object.
struct TypedRef {
    TypeDescriptor type;
    void* object = nullptr;
};

// A batch's parameter set: column key -> reference to that column's vector.
using ParamRefMap = std::map<std::string, TypedRef>;

}  // namespace vorn::platform

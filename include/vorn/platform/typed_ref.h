#pragma once

/// @file
/// @brief Typed references to a batch's columns and to a fetched row.
///
/// Typed references through which the data-access interface (DataSession in
/// `<vorn/platform/data_access.h>`) takes a batch's columns and hands out a
/// fetched row. The records they point to are made by the library's type
/// registry.

#include <cstdint>
#include <map>
#include <string>

namespace vorn::platform {

/// Data-type codes of the registry's numbering.
namespace typecode {
inline constexpr std::uint32_t kContainer = 61;   ///< a standard container ("std::vector")
inline constexpr std::uint32_t kParamMap = 101;   ///< ParamRefMap: a batch's parameter set
inline constexpr std::uint32_t kRowTarget = 105;  ///< `std::vector<FieldValue>`: a fetched row
// Element types of container records.
inline constexpr std::uint32_t kInt64 = 15;   ///< element type std::int64_t
inline constexpr std::uint32_t kFloat = 17;   ///< element type float
inline constexpr std::uint32_t kDouble = 18;  ///< element type double
inline constexpr std::uint32_t kUInt64 = 25;  ///< element type std::uint64_t
inline constexpr std::uint32_t kString = 41;  ///< element type std::string
}  // namespace typecode

/// Descriptor flag: the reference does not own the object it points to.
inline constexpr std::uint8_t kFlagReference = 0x20;
/// Descriptor flag of a row target: fields may hold integers and reals as
/// numbers instead of text (see FieldValue::kind).
inline constexpr std::uint8_t kFlagNumbersAsValues = 0x40;

struct ContainerRecord;

/// A general type descriptor: data-type code, flag bits, and the registry's
/// record of the type where the code alone does not describe it.
struct TypeDescriptor {
    std::uint32_t code = 0;                   ///< the data-type code (see typecode)
    std::uint8_t flags = 0;                   ///< flag bits such as kFlagReference
    const ContainerRecord* record = nullptr;  ///< the registry's record of a container type
};

/// A non-owning typed reference to a caller's object.
struct TypedRef {
    TypeDescriptor type;     ///< what object points to
    void* object = nullptr;  ///< the caller's object
};

/// A batch's parameter set: column key -> reference to that column's vector.
using ParamRefMap = std::map<std::string, TypedRef>;

}  // namespace vorn::platform

#pragma once

#include <vector>

#include "exec/platform/type_registry.h"

namespace vorn::platform::detail {

// The element operations of a container record for std::vector<T>. Elements
// are addressed by pointer; a vector's elements are contiguous, so walking is
// pointer arithmetic bounded by data() and data() + size().
template <class T>
struct VectorOperations {
    using Vector = std::vector<T>;

    static Vector& of(void* container) { return *static_cast<Vector*>(container); }

    static void* create() { return new Vector(); }
    static void destroy(void* container) { delete static_cast<Vector*>(container); }

    static std::size_t count(const void* container) {
        return static_cast<const Vector*>(container)->size();
    }
    static void* first(void* container) {
        Vector& v = of(container);
        return v.empty() ? nullptr : v.data();
    }
    static void* next(void* container, void* element) {
        Vector& v = of(container);
        if (element == nullptr) {
            return nullptr;
        }
        T* following = static_cast<T*>(element) + 1;
        return following < v.data() + v.size() ? following : nullptr;
    }
    static void* previous(void* container, void* element) {
        Vector& v = of(container);
        if (element == nullptr || element == v.data()) {
            return nullptr;
        }
        return static_cast<T*>(element) - 1;
    }
    static ElementCursor* makeReverseCursor(void* container) {
        Vector& v = of(container);
        return new ElementCursor{v.empty() ? nullptr : &v.back()};
    }
    static void freeCursor(ElementCursor* cursor) { delete cursor; }
    static void removeLast(void* container) {
        Vector& v = of(container);
        if (!v.empty()) {
            v.pop_back();
        }
    }
    static void clear(void* container) { of(container).clear(); }
    static void* appendDefault(void* container) { return &of(container).emplace_back(); }
    // push_back copes with an element of the same vector being appended.
    static void* appendCopy(void* container, const void* element) {
        Vector& v = of(container);
        v.push_back(*static_cast<const T*>(element));
        return &v.back();
    }

    static void fill(ContainerRecord& record) {
        record.count = &count;
        record.first = &first;
        record.next = &next;
        record.previous = &previous;
        record.makeReverseCursor = &makeReverseCursor;
        record.freeCursor = &freeCursor;
        record.removeLast = &removeLast;
        record.clear = &clear;
        record.appendDefault = &appendDefault;
        record.appendCopy = &appendCopy;
        record.elementStride = sizeof(T);
    }
};

}  // namespace vorn::platform::detail

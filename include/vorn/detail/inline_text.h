#pragma once

/// @file
/// @brief Storage of the condition texts; not part of the interface.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace vorn::detail {

// The text of a condition or an operand: kept inside the object up to
// kInlineSize characters, on the heap beyond. A condition is built in a few
// steps, each returning or copying the text so far; most conditions are short
// enough that none of these steps allocates.
class InlineText {
  public:
    static constexpr std::size_t kInlineSize = 112;

    // Defaulted below, outside the class: a user-provided constructor lets a
    // const object be declared without an initialiser although m_inline is
    // left unset (it is only read up to m_size).
    InlineText() noexcept;
    explicit InlineText(std::string_view text) { append(text); }
    InlineText(const InlineText& other) { append(other.view()); }
    InlineText(InlineText&& other) noexcept { take(other); }
    InlineText& operator=(const InlineText& other) {
        if (this != &other) {
            assign(other.view());
        }
        return *this;
    }
    InlineText& operator=(InlineText&& other) noexcept {
        if (this != &other) {
            m_heap.reset();
            m_size = 0;
            m_capacity = kInlineSize;
            take(other);
        }
        return *this;
    }
    ~InlineText() = default;

    std::string_view view() const noexcept { return {data(), m_size}; }
    std::string str() const { return std::string(data(), m_size); }
    bool empty() const noexcept { return m_size == 0; }
    std::size_t size() const noexcept { return m_size; }
    char* data() noexcept { return m_heap ? m_heap.get() : m_inline; }
    const char* data() const noexcept { return m_heap ? m_heap.get() : m_inline; }

    void clear() noexcept { m_size = 0; }
    void assign(std::string_view text) {
        clear();
        append(text);
    }
    void push_back(char c) { *grow(1) = c; }
    // text may view this object's own characters; they are then read where
    // they stand once the text has grown.
    void append(std::string_view text) {
        const std::less<const char*> before;
        const char* const begin = data();
        const bool own = !before(text.data(), begin) && before(text.data(), begin + m_size);
        const std::size_t offset = own ? static_cast<std::size_t>(text.data() - begin) : 0;
        char* const to = grow(text.size());
        if (!text.empty()) {
            std::memcpy(to, own ? data() + offset : text.data(), text.size());
        }
    }
    // Lengthens the text by count characters, left unset, and returns where
    // they start. Pointers into the text taken before are invalid afterwards.
    char* grow(std::size_t count) {
        const std::size_t size = m_size + count;
        if (size > m_capacity) {
            reserve(size > 2 * m_capacity ? size : 2 * m_capacity);
        }
        char* const at = data() + m_size;
        m_size = size;
        return at;
    }

  private:
    void reserve(std::size_t capacity) {
        std::unique_ptr<char[]> heap(new char[capacity]);
        std::memcpy(heap.get(), data(), m_size);
        m_heap = std::move(heap);
        m_capacity = capacity;
    }
    void take(InlineText& other) noexcept {
        if (other.m_heap) {
            m_heap = std::move(other.m_heap);
            m_capacity = other.m_capacity;
        } else {
            std::memcpy(m_inline, other.m_inline, other.m_size);
        }
        m_size = other.m_size;
        other.m_size = 0;
        other.m_capacity = kInlineSize;
    }

    std::unique_ptr<char[]> m_heap;
    std::size_t m_size = 0;
    std::size_t m_capacity = kInlineSize;
    char m_inline[kInlineSize];
};

inline InlineText::InlineText() noexcept = default;

}  // namespace vorn::detail

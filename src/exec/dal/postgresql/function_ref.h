#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

namespace vorn::dal {

template <typename Signature>
class PgFunctionRef;

// A callback that is called only while the call it is given to runs, and is
// not kept past it: it refers to the caller's function object (a lambda, say)
// instead of copying it, so passing one allocates nothing. Made from nullptr
// it is empty (false).
template <typename R, typename... Args>
class PgFunctionRef<R(Args...)> {
  public:
    // NOLINTNEXTLINE(google-explicit-constructor): stands in for a callable
    PgFunctionRef(std::nullptr_t) noexcept {}

    template <typename F,
              typename = std::enable_if_t<!std::is_same_v<std::decay_t<F>, PgFunctionRef> &&
                                          std::is_invocable_r_v<R, F&, Args...>>>
    // NOLINTNEXTLINE(google-explicit-constructor,bugprone-forwarding-reference-overload)
    PgFunctionRef(F&& function) noexcept
        : m_object(const_cast<void*>(static_cast<const void*>(std::addressof(function)))),
          m_call(&call<std::remove_reference_t<F>>) {}

    R operator()(Args... args) const { return m_call(m_object, std::forward<Args>(args)...); }
    explicit operator bool() const noexcept { return m_call != nullptr; }

  private:
    template <typename F>
    static R call(void* object, Args... args) {
        return (*static_cast<F*>(object))(std::forward<Args>(args)...);
    }

    void* m_object = nullptr;
    R (*m_call)(void*, Args...) = nullptr;
};

}  // namespace vorn::dal

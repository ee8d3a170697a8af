#ifndef XTALMOTIF_CORE_HANDLE_H
#define XTALMOTIF_CORE_HANDLE_H

#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace xtalmotif {

/// Raised when a null handle is dereferenced: always a programming error in the caller.
class NullHandleError : public std::logic_error {
public:
  explicit NullHandleError(const std::string& type_name)
      : std::logic_error("null handle dereferenced: THandle<" + type_name + ">") {}
};

namespace detail {
std::string demangled_type_name(const std::type_info& info);
}

/// Reference-counted shared handle through which every object that crosses a layer boundary is
/// passed. Default-constructed it is null; handles compare by identity of the object they hold.
template <class T> class THandle {
public:
  using element_type = T;

  THandle() = default;
  THandle(std::nullptr_t) {}
  /// Takes ownership of a newly allocated object, as in `THandle<Motif>(new Motif("x"))`.
  explicit THandle(T* raw) : ptr_(raw) {}
  explicit THandle(std::shared_ptr<T> p) : ptr_(std::move(p)) {}
  /// Derived-to-base conversion shares ownership.
  template <class U, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
  THandle(const THandle<U>& other) : ptr_(other.shared()) {}

  T& operator*() const { return *checked(); }
  T* operator->() const { return checked(); }

  /// The raw pointer, possibly null; never throws.
  T* get() const noexcept { return ptr_.get(); }
  bool is_null() const noexcept { return !ptr_; }
  explicit operator bool() const noexcept { return static_cast<bool>(ptr_); }
  long use_count() const noexcept { return ptr_.use_count(); }
  const std::shared_ptr<T>& shared() const noexcept { return ptr_; }
  void reset() noexcept { ptr_.reset(); }

private:
  T* checked() const {
    if (!ptr_)
      throw NullHandleError(detail::demangled_type_name(typeid(T)));
    return ptr_.get();
  }
  std::shared_ptr<T> ptr_;
};

template <class T, class U> bool operator==(const THandle<T>& a, const THandle<U>& b) {
  return a.get() == b.get();
}
template <class T, class U> bool operator!=(const THandle<T>& a, const THandle<U>& b) {
  return a.get() != b.get();
}
template <class T> bool operator==(const THandle<T>& a, std::nullptr_t) { return a.is_null(); }
template <class T> bool operator!=(const THandle<T>& a, std::nullptr_t) { return !a.is_null(); }
template <class T, class U> bool operator<(const THandle<T>& a, const THandle<U>& b) {
  return std::less<const void*>()(a.get(), b.get());
}

/// Allocates a new T and returns the only handle to it.
template <class T, class... Args> THandle<T> make_handle(Args&&... args) {
  return THandle<T>(std::make_shared<T>(std::forward<Args>(args)...));
}

/// Base-to-derived conversion; null when the object is not a U.
template <class U, class T> THandle<U> handle_cast(const THandle<T>& h) {
  return THandle<U>(std::dynamic_pointer_cast<U>(h.shared()));
}

} // namespace xtalmotif

namespace std {
template <class T> struct hash<xtalmotif::THandle<T>> {
  size_t operator()(const xtalmotif::THandle<T>& h) const noexcept {
    return std::hash<const void*>()(h.get());
  }
};
} // namespace std

#endif

// A base for classes whose objects own what cannot be shared.

#pragma once

namespace zelk::util {

// `Derived` only keeps the bases of two classes apart.
template <typename Derived>
class NonDeepCopyable {
 public:
  NonDeepCopyable() = default;
  virtual ~NonDeepCopyable() = default;

  NonDeepCopyable(const NonDeepCopyable&) = delete;
  NonDeepCopyable& operator=(const NonDeepCopyable&) = delete;
};

}  // namespace zelk::util

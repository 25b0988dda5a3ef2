// Counted references to host objects.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace ktformula {

// Base of everything that the host hands to the component, and of what the component hands back.
// Objects count their own references; the last Ref that lets go deletes the object. The count is
// not atomic: an object belongs to one thread, that of its apartment, and so does everything that
// refers to it. Objects in several threads share nothing but what the process has once.
class HostObject {
 public:
  HostObject(const HostObject&) = delete;
  HostObject& operator=(const HostObject&) = delete;

  void AddRef() const noexcept { ++references_; }
  void Release() const noexcept {
    if (--references_ == 0) delete this;
  }

  // Two wrappers of one foreign object are different C++ objects with the same identity.
  virtual const void* Identity() const noexcept { return this; }

  // What stands for this object in another world, such as a COM object; nullptr for nothing. It is
  // not kept alive here: whoever notes it takes it back in time.
  void* StandIn() const noexcept { return stand_in_; }
  void NoteStandIn(void* stand_in) const noexcept { stand_in_ = stand_in; }

  // The name that messages show for an object of this class.
  virtual std::u16string TypeName() const = 0;

 protected:
  HostObject() = default;
  virtual ~HostObject() = default;

 private:
  mutable void* stand_in_ = nullptr;
  mutable std::uint32_t references_ = 0;
};

// A shared, possibly empty, reference to a host object.
template <typename T>
class Ref {
 public:
  Ref() noexcept = default;
  Ref(std::nullptr_t) noexcept {}
  explicit Ref(T* object) noexcept : object_(object) { Acquire(); }
  Ref(const Ref& other) noexcept : object_(other.object_) { Acquire(); }
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <typename U>
  requires std::is_convertible_v<U*, T*> Ref(const Ref<U>& other)
  noexcept : object_(other.get()) { Acquire(); }
  ~Ref() {
    if (object_ != nullptr) object_->Release();
  }

  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  T* get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

 private:
  void Acquire() const noexcept {
    if (object_ != nullptr) object_->AddRef();
  }

  T* object_ = nullptr;
};

template <typename T, typename... Args>
Ref<T> MakeRef(Args&&... args) {
  return Ref<T>(new T(std::forward<Args>(args)...));
}

// Whether both refer to the same host object; two empty references are the same too.
inline bool IsSameObject(const HostObject* left, const HostObject* right) noexcept {
  if (left == nullptr || right == nullptr) return left == right;
  if (left->StandIn() != nullptr && left->StandIn() == right->StandIn()) return true;
  return left->Identity() == right->Identity();
}

}  // namespace ktformula

// Objects that stand for parts of something larger, made when somebody asks for them.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "host/ref.h"

namespace ktnotebook {

template <typename Object>
class LivingObjects;

// Base of an object that LivingObjects makes. It may live longer than they do.
template <typename Object>
class LivingObject {
 public:
  LivingObject(const LivingObject&) = delete;
  LivingObject& operator=(const LivingObject&) = delete;

 protected:
  LivingObject() = default;
  ~LivingObject() {
    if (home_ != nullptr) home_->Forget(index_);
  }

 private:
  friend class LivingObjects<Object>;

  LivingObjects<Object>* home_ = nullptr;
  std::size_t index_ = 0;
};

// One object for each index as long as somebody holds it.
template <typename Object>
class LivingObjects {
 public:
  LivingObjects() = default;
  LivingObjects(const LivingObjects&) = delete;
  LivingObjects& operator=(const LivingObjects&) = delete;
  ~LivingObjects() {
    for (LivingObject<Object>* object : objects_) {
      if (object != nullptr) object->home_ = nullptr;
    }
  }

  // The object of the index, out of `count`; a new one is made from the arguments.
  template <typename... Args>
  ktformula::Ref<Object> At(std::size_t index, std::size_t count, Args&&... args) {
    if (index >= objects_.size()) objects_.resize(count);
    if (objects_[index] != nullptr) return ktformula::Ref<Object>(objects_[index]);
    ktformula::Ref<Object> object = ktformula::MakeRef<Object>(std::forward<Args>(args)...);
    object->home_ = this;
    object->index_ = index;
    objects_[index] = object.get();
    return object;
  }

 private:
  friend class LivingObject<Object>;

  void Forget(std::size_t index) noexcept { objects_[index] = nullptr; }

  std::vector<Object*> objects_;
};

}  // namespace ktnotebook

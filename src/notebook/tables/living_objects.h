// Objects that stand for parts of something larger, made when somebody asks for them.
#pragma once

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include "host/ref.h"
#include "notebook/tables/row_texts.h"

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

// One object for each index as long as somebody holds it. An object has MoveTo, which tells it
// where what it stands for is from now on; kNoRow for nowhere.
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

  // What stood at the index that `sources` has in some place stands in that place now.
  void Arrange(std::span<const std::size_t> sources) {
    std::vector<Object*> arranged(sources.size());
    for (std::size_t i = 0; i < sources.size(); ++i) {
      if (sources[i] >= objects_.size()) continue;
      arranged[i] = std::exchange(objects_[sources[i]], nullptr);
      if (arranged[i] != nullptr) Move(*arranged[i], i);
    }
    Lose(0);
    objects_ = std::move(arranged);
  }

  // What stood at other indices stands nowhere.
  void KeepFirst(std::size_t count) {
    if (count >= objects_.size()) return;
    Lose(count);
    objects_.resize(count);
  }

 private:
  friend class LivingObject<Object>;

  void Lose(std::size_t first) {
    for (std::size_t i = first; i < objects_.size(); ++i) {
      Object* const lost = objects_[i];
      if (lost == nullptr) continue;
      lost->home_ = nullptr;
      lost->MoveTo(kNoRow);
    }
  }

  static void Move(Object& object, std::size_t index) {
    object.index_ = index;
    object.MoveTo(index);
  }

  void Forget(std::size_t index) noexcept { objects_[index] = nullptr; }

  std::vector<Object*> objects_;
};

}  // namespace ktnotebook

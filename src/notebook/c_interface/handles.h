// What the handles that programs in C have are: numbers, by which objects are found.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>

namespace ktnotebook {

// What a handle may stand for.
class HandleObject {
 public:
  HandleObject() = default;
  HandleObject(const HandleObject&) = delete;
  HandleObject& operator=(const HandleObject&) = delete;
  virtual ~HandleObject() = default;
};

// All handles of the process; for any thread. Nobody's handle is ever followed as a pointer, so
// that one that was destroyed, or never was a handle, does no harm.
class HandleTable {
 public:
  using Identity = std::uintptr_t;

  static HandleTable& Own();

  Identity Add(const std::shared_ptr<HandleObject>& object);
  // Empty for what is no handle now.
  std::shared_ptr<HandleObject> Find(Identity identity);
  // The object ends when the caller lets it go: outside all locks, for it may run foreign
  // functions.
  std::shared_ptr<HandleObject> Take(Identity identity);
  // Whether it may have been a handle.
  bool WasGiven(Identity identity) const { return identity < next_.load(); }

 private:
  // One for several handles, so that threads seldom wait for each other.
  struct Shard {
    std::mutex mutex;
    std::unordered_map<Identity, std::shared_ptr<HandleObject>> objects;
  };
  static constexpr std::size_t kShards = 16;

  Shard& ShardOf(Identity identity) { return shards_[identity % kShards]; }

  // 0 is no handle.
  std::atomic<Identity> next_{1};
  std::array<Shard, kShards> shards_;
};

inline HandleTable::Identity IdentityOf(const void* handle) {
  return reinterpret_cast<HandleTable::Identity>(handle);
}

// Throws CallFailure: the handle does not stand for an object of this kind.
[[noreturn]] void RefuseHandle(const void* handle, const char* kind, const char* argument);

// The object of the kind that the handle stands for. Throws CallFailure, which names the argument.
template <typename Object>
std::shared_ptr<Object> Need(const void* handle, const char* argument) {
  std::shared_ptr<HandleObject> found = HandleTable::Own().Find(IdentityOf(handle));
  if (dynamic_cast<Object*>(found.get()) == nullptr) RefuseHandle(handle, Object::kKind, argument);
  return std::static_pointer_cast<Object>(std::move(found));
}

// Makes a handle of an object.
template <typename Handle>
void Give(const std::shared_ptr<HandleObject>& object, Handle*& handle) {
  handle = reinterpret_cast<Handle*>(HandleTable::Own().Add(object));
}

// Takes a handle out of use, unless it is nullptr.
template <typename Object>
void Destroy(const void* handle, const char* argument) {
  if (handle == nullptr) return;
  const std::shared_ptr<Object> object = Need<Object>(handle, argument);
  if (HandleTable::Own().Take(IdentityOf(handle)) == nullptr)
    RefuseHandle(handle, Object::kKind, argument);
}

// A handle that is there for a while.
template <typename Handle>
class PassingHandle {
 public:
  explicit PassingHandle(const std::shared_ptr<HandleObject>& object) { Give(object, handle_); }
  PassingHandle(PassingHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  PassingHandle(const PassingHandle&) = delete;
  PassingHandle& operator=(const PassingHandle&) = delete;
  ~PassingHandle() { HandleTable::Own().Take(IdentityOf(handle_)); }

  Handle* Get() const noexcept { return handle_; }

 private:
  Handle* handle_ = nullptr;
};

}  // namespace ktnotebook

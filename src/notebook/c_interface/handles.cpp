#include "notebook/c_interface/handles.h"

#include "notebook/c_interface/call.h"

namespace ktnotebook {

HandleTable& HandleTable::Own() {
  // Stays for functions that run while the process ends.
  static HandleTable& table = *new HandleTable;
  return table;
}

HandleTable::Identity HandleTable::Add(const std::shared_ptr<HandleObject>& object) {
  while (true) {
    // Where pointers are short, numbers come around to those that are still in use.
    const Identity identity = next_.fetch_add(1);
    if (identity == 0) continue;
    Shard& shard = ShardOf(identity);
    const std::scoped_lock lock(shard.mutex);
    if (shard.objects.try_emplace(identity, object).second) return identity;
  }
}

std::shared_ptr<HandleObject> HandleTable::Find(Identity identity) {
  Shard& shard = ShardOf(identity);
  const std::scoped_lock lock(shard.mutex);
  const auto found = shard.objects.find(identity);
  return found != shard.objects.end() ? found->second : nullptr;
}

std::shared_ptr<HandleObject> HandleTable::Take(Identity identity) {
  Shard& shard = ShardOf(identity);
  const std::scoped_lock lock(shard.mutex);
  const auto node = shard.objects.extract(identity);
  return node ? node.mapped() : nullptr;
}

void RefuseHandle(const void* handle, const char* kind, const char* argument) {
  const std::string name = argument;
  if (handle == nullptr) throw CallFailure(KTF9_ARGUMENT, argument, name + " is NULL");
  HandleTable& table = HandleTable::Own();
  const HandleTable::Identity identity = IdentityOf(handle);
  if (table.Find(identity) == nullptr && table.WasGiven(identity))
    throw CallFailure(KTF9_GONE, argument, name + " is a destroyed handle");
  throw CallFailure(KTF9_NO_HANDLE, argument, name + " is no handle of " + kind);
}

}  // namespace ktnotebook

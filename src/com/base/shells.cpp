#include "com/base/shells.h"

#include <mutex>
#include <unordered_map>

namespace ktcom {

namespace {

// Threads with listeners of their own share the table.
struct ShellTable {
  std::mutex mutex;
  std::unordered_map<const void*, IDispatch*> shells;
};

ShellTable& Table() {
  static ShellTable table;
  return table;
}

}  // namespace

void AddShell(const void* native, IDispatch* shell) {
  ShellTable& table = Table();
  const std::lock_guard lock(table.mutex);
  table.shells[native] = shell;
}

void RemoveShell(const void* native) noexcept {
  ShellTable& table = Table();
  const std::lock_guard lock(table.mutex);
  table.shells.erase(native);
}

ComPtr<IDispatch> FindShell(const void* native) {
  ShellTable& table = Table();
  const std::lock_guard lock(table.mutex);
  const auto found = table.shells.find(native);
  return found != table.shells.end() ? found->second : nullptr;
}

}  // namespace ktcom

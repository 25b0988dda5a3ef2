// New objects of classes that are registered with the system.
#pragma once

#include <string_view>

#include "com/base/variant.h"

namespace ktcom {

// A new object by program identifier, empty when no such class is registered. Raises what the
// class's server answers otherwise.
ComPtr<IUnknown> TryCreateObject(std::u16string_view program_identifier, REFIID interface_id);

// The same, but raises an error that names a class that is not registered.
ComPtr<IUnknown> CreateObject(std::u16string_view program_identifier, REFIID interface_id);

template <typename Interface>
ComPtr<Interface> CreateSystemObject(std::u16string_view program_identifier) {
  return static_cast<Interface*>(CreateObject(program_identifier, __uuidof(Interface)).Get());
}

}  // namespace ktcom

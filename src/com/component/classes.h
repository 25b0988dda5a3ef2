// The component's creatable classes.
//
// This room holds the engine's objects as COM objects, a file for each kind.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "com/base/variant.h"

namespace ktcom {

struct ComponentClass {
  const CLSID& identifier;
  // As in "KtFormula9.SumFunction".
  std::u16string name;
  ComPtr<IUnknown> (*create)();
};

inline constexpr std::size_t kComponentClassCount = 15;
std::span<const ComponentClass, kComponentClassCount> ComponentClasses();

// The identifier of the class of this name, GUID_NULL for any other.
const GUID& ClassIdentifierOf(std::string_view name) noexcept;

}  // namespace ktcom

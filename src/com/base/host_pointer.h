// Calls to foreign objects: through the vtable where the object has the typed interface, by name
// where it only has IDispatch, such as an object of a script.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "com/base/errors.h"
#include "com/base/text.h"
#include "com/base/variant.h"

namespace ktcom {

// The arguments of a call by name.
template <typename... Arguments>
std::vector<Variant> Variants(Arguments&&... arguments) {
  std::vector<Variant> variants;
  variants.reserve(sizeof...(arguments));
  (variants.emplace_back(std::forward<Arguments>(arguments)), ...);
  return variants;
}

// Calls a method, or gets a property, by name. Raises what the object raises, and error 438 when
// it has no such member.
Variant InvokeByName(IDispatch& object, std::u16string_view name, std::vector<Variant> arguments);
// Sets a property by name.
void PutByName(IDispatch& object, std::u16string_view name, Variant value);
// Whether the object has a member of this name.
bool HasMember(IDispatch& object, std::u16string_view name);

// The class name of an object, as a script's user would be told: its class's or interface's name,
// without a leading "_"; "Object" when the object tells none, "Nothing" for nullptr.
std::u16string TypeNameOf(IUnknown* object);

template <typename Interface>
class HostPointer;

namespace detail {

// Arguments as a vtable takes them, and as automation does.
inline Bstr ForVtable(std::u16string_view text) {
  return Bstr(text);
}
inline VARIANT_BOOL ForVtable(bool value) noexcept {
  return value ? VARIANT_TRUE : VARIANT_FALSE;
}
inline double ForVtable(double value) noexcept {
  return value;
}
inline long ForVtable(std::int32_t value) noexcept {
  return value;
}
inline short ForVtable(std::int16_t value) noexcept {
  return value;
}
inline IDispatch* ForVtable(IDispatch* object) noexcept {
  return object;
}
inline const VARIANT& ForVtable(const VARIANT& value) noexcept {
  return value;
}

// What a vtable's last parameter receives; it is released when it was not taken.
template <typename Raw>
struct Received {
  Raw value{};
  Raw* Receive() noexcept { return &value; }
};
template <>
struct Received<BSTR> {
  Bstr value;
  BSTR* Receive() noexcept { return value.Receive(); }
};
template <typename Pointee>
struct Received<Pointee*> {
  ComPtr<Pointee> value;
  Pointee** Receive() noexcept { return value.GetAddressOf(); }
};

// What was received, or what a variant holds, as the engine's type.
template <typename Result>
struct Conversion {
  template <typename Raw>
  static Result From(Received<Raw>& received) {
    return static_cast<Result>(received.value);
  }
  static Result From(const Variant& value) {
    if constexpr (std::is_floating_point_v<Result>) {
      return value.Number();
    } else {
      return static_cast<Result>(value.Integer());
    }
  }
};
template <>
struct Conversion<bool> {
  static bool From(Received<VARIANT_BOOL>& received) { return received.value != VARIANT_FALSE; }
  static bool From(const Variant& value) { return value.Boolean(); }
};
template <>
struct Conversion<std::u16string> {
  static std::u16string From(Received<BSTR>& received) { return received.value.Text(); }
  static std::u16string From(const Variant& value) { return value.Text(); }
};
template <>
struct Conversion<ComPtr<IDispatch>> {
  static ComPtr<IDispatch> From(Received<IDispatch*>& received) { return received.value; }
  static ComPtr<IDispatch> From(const Variant& value) { return value.Object(); }
};
template <typename Interface>
struct Conversion<HostPointer<Interface>> {
  static HostPointer<Interface> From(Received<Interface*>& received) {
    return HostPointer<Interface>(std::move(received.value));
  }
  static HostPointer<Interface> From(Received<IDispatch*>& received) {
    return HostPointer<Interface>(received.value.Get());
  }
  static HostPointer<Interface> From(const Variant& value) {
    return HostPointer<Interface>(value.Object().Get());
  }
};
template <>
struct Conversion<void> {
  static void From(const Variant&) noexcept {}
};

template <typename Member>
struct MemberTraits;
template <typename Class, typename... Parameters>
struct MemberTraits<HRESULT (STDMETHODCALLTYPE Class::*)(Parameters...)> {
  using LastParameter = std::tuple_element_t<sizeof...(Parameters) - 1, std::tuple<Parameters...>>;
};

}  // namespace detail

// A foreign object in the role of this interface; may be empty.
template <typename Interface>
class HostPointer {
 public:
  HostPointer() noexcept = default;
  explicit HostPointer(ComPtr<Interface> object) noexcept : early_(std::move(object)) {}
  explicit HostPointer(IDispatch* object) {
    if (object == nullptr ||
        SUCCEEDED(object->QueryInterface(__uuidof(Interface),
                                         reinterpret_cast<void**>(early_.GetAddressOf())))) {
      return;
    }
    late_ = object;
  }

  explicit operator bool() const noexcept { return Dispatch() != nullptr; }
  IDispatch* Dispatch() const noexcept {
    return early_ != nullptr ? static_cast<IDispatch*>(early_.Get()) : late_.Get();
  }

  // Whether the object is called through its vtable.
  bool IsTyped() const noexcept { return early_ != nullptr; }

  // Whether the object, which is not empty, has the member; a typed one has them all.
  bool Has(std::u16string_view name) const {
    return early_ != nullptr || HasMember(*late_.Get(), name);
  }

  // Calls the member, whose name in automation is `name`, and gives its result. Raises what the
  // object raises.
  template <typename Result, auto Member, typename... Arguments>
  Result Call(std::u16string_view name, const Arguments&... arguments) const {
    if (early_ == nullptr) {
      return detail::Conversion<Result>::From(
          InvokeByName(*late_.Get(), name, Variants(arguments...)));
    }
    ForgetErrorObject();
    if constexpr (std::is_void_v<Result>) {
      Check((early_.Get()->*Member)(detail::ForVtable(arguments)...));
    } else {
      using Last = typename detail::MemberTraits<decltype(Member)>::LastParameter;
      detail::Received<std::remove_pointer_t<Last>> received;
      Check((early_.Get()->*Member)(detail::ForVtable(arguments)..., received.Receive()));
      return detail::Conversion<Result>::From(received);
    }
  }

  // Sets the property through the member that puts it.
  template <auto Member, typename Argument>
  void Put(std::u16string_view name, const Argument& argument) const {
    if (early_ == nullptr) return PutByName(*late_.Get(), name, Variant(argument));
    ForgetErrorObject();
    Check((early_.Get()->*Member)(detail::ForVtable(argument)));
  }

 private:
  void Check(HRESULT code) const { ktcom::Check(code, early_.Get(), __uuidof(Interface)); }

  ComPtr<Interface> early_;
  ComPtr<IDispatch> late_;
};

}  // namespace ktcom

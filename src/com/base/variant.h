// Automation's variants.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "com/base/windows_headers.h"

namespace ktcom {

using Microsoft::WRL::ComPtr;

// A VARIANT that clears itself.
class Variant {
 public:
  Variant() noexcept = default;
  explicit Variant(std::u16string_view text);
  explicit Variant(double number) noexcept;
  explicit Variant(std::int32_t number) noexcept;
  explicit Variant(std::int16_t number) noexcept;
  explicit Variant(bool flag) noexcept;
  // Keeps a reference of its own; nullptr is automation's Nothing.
  explicit Variant(IDispatch* object) noexcept;
  explicit Variant(IUnknown* object) noexcept;
  // A copy of what the variant holds, or refers to.
  explicit Variant(const VARIANT& other);
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;
  Variant(Variant&& other) noexcept;
  ~Variant() { VariantClear(&value_); }

  const VARIANT& Get() const noexcept { return value_; }
  // Where a call stores its result; for an empty variant only.
  VARIANT* Receive() noexcept { return &value_; }

  // The content converted; raise error 13 where automation knows no conversion. Doubles and texts
  // are each other's as the engine reads and writes numbers, whose locale may not be the system's.
  std::u16string Text() const;
  double Number() const;
  std::int32_t Integer() const;
  bool Boolean() const;
  // The object; empty for Nothing. Raises error 13 for what is no object.
  ComPtr<IDispatch> Object() const;
  bool IsNull() const noexcept { return value_.vt == VT_NULL || value_.vt == VT_EMPTY; }

 private:
  Variant ChangedTo(VARTYPE type) const;

  // VT_EMPTY.
  VARIANT value_{};
};

}  // namespace ktcom

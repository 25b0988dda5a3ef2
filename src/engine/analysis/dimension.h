// Dimensions: what quantities are made of.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ktformula {

// The exponents of mass, length, time, amount of substance and temperature.
struct Dimension {
  std::array<std::int16_t, 5> exponents{};

  bool IsNumber() const noexcept { return *this == Dimension(); }
  bool operator==(const Dimension&) const = default;
};

Dimension Product(const Dimension& left, const Dimension& right) noexcept;
Dimension Quotient(const Dimension& left, const Dimension& right) noexcept;

// Of the quantity that a unit names, such as "molar mass"; empty for one that is not known.
std::optional<Dimension> DimensionOfQuantity(std::u16string_view quantity) noexcept;

// In words: the name of a quantity, "a plain number", or base units such as "kg2/mol".
std::u16string DimensionText(const Dimension& dimension);

}  // namespace ktformula

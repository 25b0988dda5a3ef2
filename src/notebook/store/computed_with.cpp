#include "notebook/store/computed_with.h"

#include <array>
#include <bit>
#include <charconv>
#include <cstdint>

#include "functions/function_table.h"
#include "notebook/files/framework.h"
#include "notebook/files/utf.h"
#include "notebook/tables/unit_catalogue.h"

namespace ktnotebook {

namespace {

// The hash FNV-1a over numbers and texts, the same on every machine.
class Hash {
 public:
  void Add(std::uint64_t number) {
    for (int byte = 0; byte < 8; ++byte, number >>= 8) {
      state_ = (state_ ^ (number & 0xFF)) * 0x100000001B3;
    }
  }
  void Add(double number) { Add(std::bit_cast<std::uint64_t>(number)); }
  void Add(std::u16string_view text) {
    Add(std::uint64_t{text.size()});
    for (const char16_t unit : text)
      Add(std::uint64_t{unit});
  }

  // Eight hexadecimal digits.
  std::string Text() const {
    const auto folded = static_cast<std::uint32_t>(state_ ^ (state_ >> 32));
    std::array<char, 8> digits{};
    const auto [end, error] =
        std::to_chars(digits.data(), digits.data() + digits.size(), folded, 16);
    const std::string text(digits.data(), end);
    return std::string(digits.size() - text.size(), '0') + text;
  }

 private:
  std::uint64_t state_ = 0xCBF29CE484222325;
};

// Machines differ in the width of sizes.
std::uint64_t Number(std::size_t size) {
  return static_cast<std::uint32_t>(size);
}

std::string HashOfFunctions() {
  Hash hash;
  for (const ktformula::FunctionRow& row : ktformula::FunctionTable()) {
    const ktformula::FunctionArguments& arguments = row.arguments;
    for (const std::u16string_view text :
         {row.name, row.source, arguments.name, arguments.required, arguments.taken})
      hash.Add(text);
    for (const std::uint64_t number :
         {Number(arguments.least), Number(arguments.most), Number(arguments.named),
          static_cast<std::uint64_t>(arguments.wrong_count),
          std::uint64_t{arguments.must_be_odd ? 1U : 0U}})
      hash.Add(number);
  }
  return hash.Text();
}

std::string HashOfUnits() {
  Hash hash;
  for (const UnitDefinition& unit : UnitDefinitions()) {
    hash.Add(unit.name);
    hash.Add(QuantityText(unit.quantity));
    for (const double number : {unit.numerator, unit.denominator, unit.offset})
      hash.Add(number);
  }
  return hash.Text();
}

}  // namespace

std::string ComputedWith() {
  static const std::string own =
      "ktnotebook " KT_VERSION ", functions " + HashOfFunctions() + ", units " + HashOfUnits();
  // Which version another module's listeners have is not known.
  return NotebookFramework::HasOwnClasses() ? own : own + ", listeners of another module";
}

}  // namespace ktnotebook

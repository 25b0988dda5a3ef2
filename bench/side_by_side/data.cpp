#include "data.h"

#include <algorithm>
#include <charconv>
#include <random>

namespace side_by_side {

namespace {

constexpr int kDigits = 15;

class Measurements {
 public:
  explicit Measurements(std::uint32_t seed) : random_(seed) {}

  // From `low`, to below `high`.
  double Next(std::uint32_t low, std::uint32_t high) {
    std::uint32_t places = 10;
    for (std::uint32_t more = Bits() % 4; more > 0; --more)
      places *= 10;
    return static_cast<double>(low * places + Bits() % ((high - low) * places)) / places;
  }
  bool NextFlag() { return Bits() % 2 == 0; }

 private:
  std::uint32_t Bits() { return static_cast<std::uint32_t>(random_()); }

  std::mt19937 random_;
};

}  // namespace

Data::Data(std::size_t rows, std::uint32_t seed) {
  for (Numbers* column : {&m, &w, &d, &x, &y})
    column->reserve(rows);
  f.reserve(rows);
  Measurements measurements(seed);
  for (std::size_t row = 0; row < rows; ++row) {
    m.push_back(measurements.Next(0, 5));
    w.push_back(measurements.Next(100, 900));
    d.push_back(measurements.Next(1, 20));
    x.push_back(measurements.Next(0, 1000));
    y.push_back(measurements.Next(0, 100));
    f.push_back(measurements.NextFlag() ? 1 : 0);
  }
}

std::string TextOf(double number) {
  TextColumn column(1);
  column.PutNumber(0, number);
  return AsCellsShow(column.At(0));
}

void TextColumn::PutNumber(std::size_t row, double number) {
  Slot& slot = slots_[row];
  char* const begin = slot.text.data();
  const auto written =
      std::to_chars(begin, begin + slot.text.size(), number, std::chars_format::general, kDigits);
  slot.length = static_cast<std::uint8_t>(written.ptr - begin);
}

void TextColumn::Put(std::size_t row, std::string_view text) {
  Slot& slot = slots_[row];
  text.copy(slot.text.data(), slot.text.size());
  slot.length = static_cast<std::uint8_t>(text.size());
}

std::string AsCellsShow(std::string_view number) {
  std::string text(number);
  std::replace(text.begin(), text.end(), 'e', 'E');
  return text;
}

}  // namespace side_by_side

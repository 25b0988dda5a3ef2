// What a column keeps, against the same kept plainly.
#include "notebook/tables/column_data.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "notebook/files/utf.h"
#include "values/platform.h"

namespace ktnotebook {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

struct PlainCell {
  CellContent content;
  std::u16string state;
  std::u16string tag;
};

// A column and its plain twin, to which everything is done alike.
class Twins {
 public:
  explicit Twins(unsigned seed) : random_(seed) {}

  void Step() {
    const std::size_t kind = Pick(10);
    if (cells_.empty() || kind == 0) return Append(1 + Pick(4));
    const std::size_t row = Pick(cells_.size());
    if (kind == 1) return SetState(row);
    if (kind == 2) return SetLocale();
    if (kind <= 4) return SetGeneral(row);
    if (kind <= 6) return SetShared(row);
    Expect(row, AnyContent(), [&](const CellContent& content) {
      // The text may be one of the column's own.
      std::u16string buffer;
      const std::size_t other = Pick(cells_.size());
      if (cells_[other].content.text != content.text) return data_.SetContent(row, content);
      const std::u16string_view own = data_.Text(other, buffer);
      return data_.SetContent(row, {own, content.min, content.max, content.unit});
    });
  }

  void Compare() const {
    std::u16string buffer;
    std::size_t entered = 0;
    bool has_range = false;
    for (std::size_t row = 0; row < cells_.size(); ++row) {
      const auto& [content, state, tag] = cells_[row];
      const ContentView found = data_.Content(row, buffer);
      ASSERT_TRUE(IsSameContent(found, content))
          << row << ": " << ToUtf8(found.text.substr(0, 40)) << " " << found.min << " " << found.max
          << ToUtf8(found.unit) << ", not " << ToUtf8(content.text.substr(0, 40));
      ASSERT_EQ(data_.State(row), state) << row;
      ASSERT_EQ(data_.Tag(row), tag) << row;
      ASSERT_EQ(data_.IsEntered(row), state == u"entered") << row;
      entered += state == u"entered" ? 1 : 0;
      has_range = has_range || (content.min != content.max && !std::isnan(content.min));
    }
    EXPECT_EQ(data_.EnteredCount(), entered);
    EXPECT_EQ(data_.MinNumbers().data() != data_.MaxNumbers().data(), has_range);
  }

 private:
  std::size_t Pick(std::size_t count) { return random_() % count; }

  // Few different texts, so that equal ones follow each other; now and then a very long one.
  std::u16string AnyText() {
    const std::size_t kind = Pick(40);
    if (kind == 0) return std::u16string(65'000 + 1'000 * Pick(2), u'x');
    if (kind < 5) return {};
    return std::u16string(1 + Pick(3), static_cast<char16_t>(u'a' + Pick(3)));
  }
  CellContent AnyContent() {
    const double numbers[] = {0, 1.5, 1.5, kNan, -7};
    const double number = numbers[Pick(5)];
    const bool is_range = Pick(8) == 0 && !std::isnan(number);
    return {AnyText(), number, is_range ? number + 1 : number,
            Pick(4) == 0 ? std::u16string(Pick(3), u'g') : u""};
  }

  // Sets the content by `set`, which has to tell whether it was another one.
  template <typename Set>
  void Expect(std::size_t row, const CellContent& content, Set set) {
    const bool is_new = !IsSameContent(cells_[row].content, content);
    EXPECT_EQ(set(content), is_new) << row;
    cells_[row].content = content;
  }

  void Append(std::size_t rows) {
    data_.Append(rows);
    cells_.resize(cells_.size() + rows);
  }
  // More different tags than a byte can tell.
  void SetState(std::size_t row) {
    const std::u16string state(std::array{u"", u"entered", u"noted"}[Pick(3)]);
    const std::u16string tag(Pick(400), u't');
    const bool is_new = cells_[row].state != state || cells_[row].tag != tag;
    EXPECT_EQ(data_.SetState(row, state, tag), is_new);
    cells_[row].state = state;
    cells_[row].tag = tag;
  }
  void SetLocale() { ktformula::SetUserLocale({Pick(2) == 0 ? u'.' : u',', u'\''}); }
  void SetGeneral(std::size_t row) {
    const double numbers[] = {0, 1.5, 2, -1e300, 1e-7};
    const double number = numbers[Pick(5)];
    Expect(row, {ktformula::NumberToText(number), number, number, {}},
           [&](const CellContent&) { return ColumnData::GeneralNumbers(data_).Set(row, number); });
  }
  // One of several rows, between which texts may move.
  void SetShared(std::size_t row) {
    const std::u16string texts[] = {AnyText(), AnyText(), u"high"};
    const std::u16string_view views[] = {texts[0], texts[1], texts[2]};
    const double numbers[] = {0, 1.5, kNan};
    ColumnData::SharedTexts shared(data_, views, numbers);
    for (std::size_t i = 0; i < 3; ++i) {
      const std::size_t which = Pick(3);
      Expect((row + i) % cells_.size(), {texts[which], numbers[which], numbers[which], {}},
             [&](const CellContent&) { return shared.Set((row + i) % cells_.size(), which); });
      if (Pick(4) == 0)
        Expect(0, AnyContent(),
               [&](const CellContent& content) { return data_.SetContent(0, content); });
    }
  }

  std::mt19937 random_;
  ColumnData data_;
  std::vector<PlainCell> cells_;
};

TEST(ColumnData, KeepsWhatPlainCellsKeep) {
  for (unsigned seed = 0; seed < 40 && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    Twins twins(seed);
    for (int step = 0; step < 600; ++step)
      twins.Step();
    twins.Compare();
  }
  ktformula::SetUserLocale({});
}

// Texts that come and go do not make the pool grow without end.
TEST(RowTexts, GapsAreClosed) {
  const std::u16string words[] = {u"high", u"low"};
  const struct {
    const char* name;
    std::u16string (*text)(std::size_t row, std::size_t round);
  } cases[] = {
      {"one after the other",
       [](std::size_t, std::size_t round) { return std::u16string(5 + round % 7, u'x'); }},
      {"all different",
       [](std::size_t row, std::size_t round) {
         return std::u16string(1 + (row * 31 + round * 17) % 40,
                               static_cast<char16_t>(u'a' + row % 20));
       }},
  };
  for (const auto& [name, text] : cases) {
    RowTexts texts;
    texts.Append(1000);
    for (std::size_t round = 0; round < 200; ++round) {
      for (std::size_t row = 0; row < 1000; ++row)
        texts.Set(row, text(row, round));
    }
    for (std::size_t row = 0; row < 1000; ++row)
      ASSERT_EQ(texts.At(row), text(row, 199)) << name;
    EXPECT_LT(texts.PoolSize(), 100'000U) << name;
  }
  RowTexts shared;
  shared.Append(1000);
  for (std::size_t i = 0; i < 200'000; ++i)
    shared.SetPlace(i % 1000, shared.Share(std::array<std::u16string_view, 1>{words[i % 2]})[0]);
  EXPECT_LT(shared.PoolSize(), 100U);
}

TEST(RoundedToGeneralForm, ReadsAsItsOwnText) {
  const struct {
    double value;
    std::optional<double> rounded;
  } cases[] = {
      {0, 0.0},
      {-0.0, 0.0},
      {0.1, 0.1},
      {0.1 + 0.2, 0.3},
      {1e300, 1e300},
      {1.0 / 3, 0.333333333333333},
      // What has fewer digits of its own is text only.
      {5e-324, std::nullopt},
      {2e-308, std::nullopt},
  };
  for (const auto& [value, rounded] : cases)
    EXPECT_EQ(RoundedToGeneralForm(value), rounded) << value;
}

}  // namespace
}  // namespace ktnotebook

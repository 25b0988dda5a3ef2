#include <algorithm>
#include <muParser.h>
#include <numeric>
#include <random>
#include <unordered_map>

#include "notebook.h"
#include "workloads.h"

namespace side_by_side {

namespace {

using ktnotebook::DataType;
using Sets = Alternating<Data>;

constexpr double kMilliseconds = 1e3;

// A peer with plain arrays, whose results are numbers.
class ArrayPeer : public Peer {
 public:
  std::string Result(std::size_t /*column*/, std::size_t row) const final {
    return TextOf(results_[row]);
  }

 protected:
  explicit ArrayPeer(std::size_t rows) : results_(rows) {}

  Numbers results_;
};

// --- Each row's share of the whole.

class ShareNotebook final : public NotebookPeer {
 public:
  ShareNotebook(const Sets& sets, std::size_t rows)
      : NotebookPeer(Reading::kNumbers),
        sets_(sets),
        table_(notebook_.AddTable(u"T", rows)),
        x_(notebook_.AddInput(table_, u"x")) {
    AddResult(notebook_.AddFormula(table_, u"share", u"[x]/SUM([x])"));
  }
  void Prepare(std::size_t run) override { x_.EnterAll(sets_.Of(run).x); }

 private:
  const Sets& sets_;
  ktnotebook::NotebookTable& table_;
  Column x_;
};

class ShareLoop final : public ArrayPeer {
 public:
  ShareLoop(const Sets& sets, std::size_t rows) : ArrayPeer(rows), sets_(sets), x_(rows) {}
  std::string_view Name() const override { return "loop"; }
  void Prepare(std::size_t run) override { x_ = sets_.Of(run).x; }
  void Work() override {
    const double sum = std::accumulate(x_.begin(), x_.end(), 0.0);
    std::transform(x_.begin(), x_.end(), results_.begin(), [sum](double x) { return x / sum; });
  }

 private:
  const Sets& sets_;
  Numbers x_;
};

// The library has no columns: whoever embeds it sums up once.
class ShareMuParser final : public ArrayPeer {
 public:
  ShareMuParser(const Sets& sets, std::size_t rows) : ArrayPeer(rows), sets_(sets), inputs_(rows) {
    parser_.DefineVar("x", &x_);
    parser_.DefineVar("sum", &sum_);
    parser_.SetExpr("x/sum");
  }
  std::string_view Name() const override { return "muparser"; }
  void Prepare(std::size_t run) override { inputs_ = sets_.Of(run).x; }
  void Work() override {
    sum_ = std::accumulate(inputs_.begin(), inputs_.end(), 0.0);
    for (std::size_t row = 0; row < inputs_.size(); ++row) {
      x_ = inputs_[row];
      results_[row] = parser_.Eval();
    }
  }

 private:
  const Sets& sets_;
  Numbers inputs_;
  double x_ = 0, sum_ = 0;
  mu::Parser parser_;
};

// --- A sum over another table, with a condition, the same for all rows.

constexpr std::size_t kSummedRows = 100'000;
constexpr std::size_t kSums = 1'000;

class FilteredSumNotebook final : public NotebookPeer {
 public:
  explicit FilteredSumNotebook(const Sets& sets)
      : NotebookPeer(Reading::kNumbers),
        sets_(sets),
        summed_(notebook_.AddTable(u"T", kSummedRows)),
        x_(notebook_.AddInput(summed_, u"x")),
        y_(notebook_.AddInput(summed_, u"y")),
        f_(notebook_.AddInput(summed_, u"f", DataType::kBoolean)) {
    AddResult(notebook_.AddFormula(notebook_.AddTable(u"Sums", kSums), u"sum",
                                   u"SUM([x]*[y], [T], [f])"));
  }
  void Prepare(std::size_t run) override {
    const Data& data = sets_.Of(run);
    x_.EnterAll(data.x);
    y_.EnterAll(data.y);
    for (std::size_t row = 0; row < kSummedRows; ++row)
      f_.Enter(row, data.f[row] != 0 ? u"true" : u"false");
  }

 private:
  const Sets& sets_;
  ktnotebook::NotebookTable& summed_;
  Column x_, y_, f_;
};

class FilteredSumLoop final : public ArrayPeer {
 public:
  explicit FilteredSumLoop(const Sets& sets) : ArrayPeer(kSums), sets_(sets) {}
  std::string_view Name() const override { return "loop"; }
  void Prepare(std::size_t run) override {
    const Data& data = sets_.Of(run);
    x_ = data.x;
    y_ = data.y;
    f_ = data.f;
  }
  void Work() override {
    double sum = 0;
    for (std::size_t row = 0; row < kSummedRows; ++row)
      if (f_[row] != 0) sum += x_[row] * y_[row];
    std::fill(results_.begin(), results_.end(), sum);
  }

 private:
  const Sets& sets_;
  Numbers x_, y_;
  std::vector<std::uint8_t> f_;
};

// The expression in bulk mode; whoever embeds the library sums up.
class FilteredSumMuParser final : public ArrayPeer {
 public:
  explicit FilteredSumMuParser(const Sets& sets) : ArrayPeer(kSums), sets_(sets) {
    parser_.DefineVar("x", x_.data());
    parser_.DefineVar("y", y_.data());
    parser_.DefineVar("f", f_.data());
    parser_.SetExpr("f ? x*y : 0");
  }
  std::string_view Name() const override { return "muparser"; }
  void Prepare(std::size_t run) override {
    const Data& data = sets_.Of(run);
    x_ = data.x;
    y_ = data.y;
    std::copy(data.f.begin(), data.f.end(), f_.begin());
  }
  void Work() override {
    parser_.Eval(products_.data(), static_cast<int>(kSummedRows));
    std::fill(results_.begin(), results_.end(),
              std::accumulate(products_.begin(), products_.end(), 0.0));
  }

 private:
  const Sets& sets_;
  Numbers x_ = Numbers(kSummedRows), y_ = x_, f_ = x_, products_ = x_;
  mu::Parser parser_;
};

// --- A value of another table, found by its key.

// Keys in one order, with a value each, and the same keys in another.
struct Lookup {
  Lookup(std::size_t rows, std::uint32_t seed)
      : keys(Keys(rows)), wanted(keys), values(Data(rows, seed).x) {
    std::mt19937 random(seed);
    std::shuffle(keys.begin(), keys.end(), random);
    std::shuffle(wanted.begin(), wanted.end(), random);
  }

  std::vector<std::string> keys, wanted;
  Numbers values;

 private:
  // "K000000", "K000001", ...
  static std::vector<std::string> Keys(std::size_t rows) {
    constexpr std::size_t kWidth = 6;
    std::vector<std::string> keys;
    for (std::size_t row = 0; row < rows; ++row) {
      const std::string number = std::to_string(row);
      keys.push_back("K" + std::string(kWidth - number.size(), '0') + number);
    }
    return keys;
  }
};

using Lookups = Alternating<Lookup>;

class LookUpNotebook final : public NotebookPeer {
 public:
  LookUpNotebook(const Lookups& sets, std::size_t rows)
      : NotebookPeer(Reading::kNumbers),
        sets_(sets),
        looked_up_(notebook_.AddTable(u"K", rows)),
        keys_(notebook_.AddInput(looked_up_, u"Key", DataType::kString)),
        values_(notebook_.AddInput(looked_up_, u"V")),
        looking_(notebook_.AddTable(u"T", rows)),
        wanted_(notebook_.AddInput(looking_, u"Key", DataType::kString)) {
    AddResult(
        notebook_.AddFormula(looking_, u"found", u"SELECT([V], [K], [Key]=[this:parent:Key])"));
  }
  void Prepare(std::size_t run) override {
    const Lookup& set = sets_.Of(run);
    EnterTexts(keys_, set.keys);
    EnterTexts(wanted_, set.wanted);
    values_.EnterAll(set.values);
  }

 private:
  static void EnterTexts(Column& column, const std::vector<std::string>& texts) {
    for (std::size_t row = 0; row < texts.size(); ++row)
      column.Enter(row, Wide(texts[row]));
  }

  const Lookups& sets_;
  ktnotebook::NotebookTable& looked_up_;
  Column keys_, values_;
  ktnotebook::NotebookTable& looking_;
  Column wanted_;
};

class LookUpLoop final : public ArrayPeer {
 public:
  LookUpLoop(const Lookups& sets, std::size_t rows)
      : ArrayPeer(rows), sets_(sets), set_(sets.Of(0)) {}
  std::string_view Name() const override { return "loop"; }
  void Prepare(std::size_t run) override { set_ = sets_.Of(run); }
  void Work() override {
    std::unordered_map<std::string_view, double> value_of;
    value_of.reserve(set_.keys.size());
    for (std::size_t row = 0; row < set_.keys.size(); ++row)
      value_of.emplace(set_.keys[row], set_.values[row]);
    for (std::size_t row = 0; row < set_.wanted.size(); ++row)
      results_[row] = value_of.find(set_.wanted[row])->second;
  }

 private:
  const Lookups& sets_;
  Lookup set_;
};

}  // namespace

template <std::size_t kRows>
bool MeasureShare(std::string_view metric) {
  const Sets sets(kRows);
  Peers peers;
  peers.push_back(std::make_unique<ShareNotebook>(sets, kRows));
  peers.push_back(std::make_unique<ShareMuParser>(sets, kRows));
  peers.push_back(std::make_unique<ShareLoop>(sets, kRows));
  return MeasurePeers({metric, kMilliseconds, 1, kRows}, peers);
}

template bool MeasureShare<1'000>(std::string_view metric);
template bool MeasureShare<10'000>(std::string_view metric);
template bool MeasureShare<100'000>(std::string_view metric);

bool MeasureFilteredSum(std::string_view metric) {
  const Sets sets(kSummedRows);
  Peers peers;
  peers.push_back(std::make_unique<FilteredSumNotebook>(sets));
  peers.push_back(std::make_unique<FilteredSumMuParser>(sets));
  peers.push_back(std::make_unique<FilteredSumLoop>(sets));
  return MeasurePeers({metric, kMilliseconds, 1, kSums}, peers);
}

template <std::size_t kRows>
bool MeasureLookUp(std::string_view metric) {
  const Lookups sets(kRows);
  Peers peers;
  peers.push_back(std::make_unique<LookUpNotebook>(sets, kRows));
  peers.push_back(std::make_unique<LookUpLoop>(sets, kRows));
  return MeasurePeers({metric, kMilliseconds, 1, kRows}, peers);
}

template bool MeasureLookUp<1'000>(std::string_view metric);
template bool MeasureLookUp<10'000>(std::string_view metric);

}  // namespace side_by_side

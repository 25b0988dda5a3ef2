#include <charconv>
#include <muParser.h>

#include "notebook.h"
#include "workloads.h"

namespace side_by_side {

namespace {

using ktnotebook::DataType;
using Sets = Alternating<Data>;

constexpr std::size_t kManyRows = 1'000'000;
constexpr std::size_t kRows = 100'000;
constexpr std::size_t kColumns = 3;
constexpr double kLimit = 5;
// Formulas meet the 15 digits that a computed cell shows, the other peers all digits of it.
constexpr double kShownDigits = 2e-14;

// The three columns of inputs as a peer keeps them, who is not told when they change.
struct Inputs {
  Numbers m, w, d;

  explicit Inputs(std::size_t rows) : m(rows), w(rows), d(rows) {}
  void CopyFrom(const Data& data) {
    m = data.m;
    w = data.w;
    d = data.d;
  }
};

// The same in a table of a notebook.
struct InputColumns {
  ktnotebook::NotebookTable& table;
  Column m, w, d;

  InputColumns(Notebook& notebook, std::size_t rows)
      : table(notebook.AddTable(u"T", rows)),
        m(notebook.AddInput(table, u"m")),
        w(notebook.AddInput(table, u"w")),
        d(notebook.AddInput(table, u"d")) {}
  void Enter(const Data& data) {
    m.EnterAll(data.m);
    w.EnterAll(data.w);
    d.EnterAll(data.d);
  }
};

// --- One formula.

class OneFormulaNotebook final : public NotebookPeer {
 public:
  explicit OneFormulaNotebook(const Sets& sets) : NotebookPeer(Reading::kBoth), sets_(sets) {
    AddResult(notebook_.AddFormula(inputs_.table, u"r", u"[m]/[w]*1000+[d]"));
  }
  void Prepare(std::size_t run) override { inputs_.Enter(sets_.Of(run)); }

 private:
  const Sets& sets_;
  InputColumns inputs_{notebook_, kManyRows};
};

// What both peers with plain arrays have.
class OneFormulaArrays : public Peer {
 public:
  explicit OneFormulaArrays(const Sets& sets) : sets_(sets) {}
  void Prepare(std::size_t run) override { inputs_.CopyFrom(sets_.Of(run)); }
  std::string Result(std::size_t /*column*/, std::size_t row) const override {
    return AsCellsShow(texts_.At(row));
  }

 protected:
  void WriteTexts() {
    for (std::size_t row = 0; row < kManyRows; ++row)
      texts_.PutNumber(row, results_[row]);
  }

  Inputs inputs_{kManyRows};
  Numbers results_ = Numbers(kManyRows);

 private:
  const Sets& sets_;
  TextColumn texts_{kManyRows};
};

class OneFormulaLoop final : public OneFormulaArrays {
 public:
  using OneFormulaArrays::OneFormulaArrays;
  std::string_view Name() const override { return "loop"; }
  void Work() override {
    for (std::size_t row = 0; row < kManyRows; ++row)
      results_[row] = inputs_.m[row] / inputs_.w[row] * 1000 + inputs_.d[row];
    WriteTexts();
  }
};

// In the library's bulk mode: one call for the column.
class OneFormulaMuParser final : public OneFormulaArrays {
 public:
  explicit OneFormulaMuParser(const Sets& sets) : OneFormulaArrays(sets) {
    parser_.DefineVar("m", inputs_.m.data());
    parser_.DefineVar("w", inputs_.w.data());
    parser_.DefineVar("d", inputs_.d.data());
    parser_.SetExpr("m/w*1000+d");
  }
  std::string_view Name() const override { return "muparser"; }
  void Work() override {
    parser_.Eval(results_.data(), static_cast<int>(kManyRows));
    WriteTexts();
  }

 private:
  mu::Parser parser_;
};

// --- Three formulas, one of which needs another's results.

class ThreeFormulasNotebook : public NotebookPeer {
 public:
  explicit ThreeFormulasNotebook(const Sets& sets) : NotebookPeer(Reading::kTexts), sets_(sets) {
    AddResult(notebook_.AddFormula(inputs_.table, u"c1", u"[m]/[w]*1000"));
    AddResult(notebook_.AddFormula(inputs_.table, u"c2", u"[c1]/[d]+[m]*2"));
    AddResult(notebook_.AddFormula(inputs_.table, u"c3", u"IF([c1] > 5, \"high\", \"low\")",
                                   DataType::kString));
  }
  void Prepare(std::size_t run) override { inputs_.Enter(sets_.Of(run)); }

 protected:
  const Sets& sets_;
  InputColumns inputs_{notebook_, kRows};
};

// What both peers with plain arrays have; they work row by row.
class ThreeFormulasArrays : public Peer {
 public:
  explicit ThreeFormulasArrays(const Sets& sets) : sets_(sets) {}
  void Prepare(std::size_t run) override {
    const Data& data = sets_.Of(run);
    inputs_.CopyFrom(data);
    PutNumbers(typed_m_, data.m);
    PutNumbers(typed_w_, data.w);
    PutNumbers(typed_d_, data.d);
  }
  std::string Result(std::size_t column, std::size_t row) const override {
    const TextColumn* const columns[] = {&c1_, &c2_, &c3_};
    return AsCellsShow(columns[column]->At(row));
  }

 protected:
  void Write(std::size_t row, double c1, double c2, bool is_high) {
    c1_.PutNumber(row, c1);
    c2_.PutNumber(row, c2);
    c3_.Put(row, is_high ? "high" : "low");
  }

  const Sets& sets_;
  Inputs inputs_{kRows};

 private:
  static void PutNumbers(TextColumn& column, const Numbers& numbers) {
    for (std::size_t row = 0; row < numbers.size(); ++row)
      column.PutNumber(row, numbers[row]);
  }

  // Kept as cells keep what was typed into them.
  TextColumn typed_m_{kRows}, typed_w_{kRows}, typed_d_{kRows};
  TextColumn c1_{kRows}, c2_{kRows}, c3_{kRows};
};

class ThreeFormulasLoop : public ThreeFormulasArrays {
 public:
  using ThreeFormulasArrays::ThreeFormulasArrays;
  std::string_view Name() const final { return "loop"; }
  void Work() override {
    for (std::size_t row = 0; row < kRows; ++row)
      ComputeRow(row);
  }

 protected:
  void ComputeRow(std::size_t row) {
    const double c1 = inputs_.m[row] / inputs_.w[row] * 1000;
    Write(row, c1, c1 / inputs_.d[row] + inputs_.m[row] * 2, c1 > kLimit);
  }
};

class ThreeFormulasMuParser : public ThreeFormulasArrays {
 public:
  explicit ThreeFormulasMuParser(const Sets& sets) : ThreeFormulasArrays(sets) {
    Define(first_, "m/w*1000");
    Define(second_, "c1/d+m*2");
    Define(third_, "c1 > 5 ? 1 : 0");
  }
  std::string_view Name() const final { return "muparser"; }
  void Work() override {
    for (std::size_t row = 0; row < kRows; ++row)
      ComputeRow(row);
  }

 protected:
  void ComputeRow(std::size_t row) {
    m_ = inputs_.m[row];
    w_ = inputs_.w[row];
    d_ = inputs_.d[row];
    c1_ = first_.Eval();
    const double c2 = second_.Eval();
    Write(row, c1_, c2, third_.Eval() != 0);
  }

 private:
  void Define(mu::Parser& parser, const char* expression) {
    parser.DefineVar("m", &m_);
    parser.DefineVar("w", &w_);
    parser.DefineVar("d", &d_);
    parser.DefineVar("c1", &c1_);
    parser.SetExpr(expression);
  }

  double m_ = 0, w_ = 0, d_ = 0, c1_ = 0;
  mu::Parser first_, second_, third_;
};

// --- The same three columns, after one cell of m was typed.

// What is typed in a run: another number, into a cell into which no other run types.
struct Edit {
  Edit(const Sets& sets, std::size_t run)
      : row(run * 7919 % kRows), text(TextOf(sets.Of(0).m[row] + 1)) {}

  std::size_t row;
  std::string text;
};

// A peer of the workload above in whose table, once it is computed, one cell is typed in each run.
template <typename ThreeFormulas>
class EditedArrays final : public ThreeFormulas {
 public:
  explicit EditedArrays(const Sets& sets) : ThreeFormulas(sets) {
    ThreeFormulas::Prepare(0);
    ThreeFormulas::Work();
  }
  void Prepare(std::size_t run) override { edit_ = Edit(this->sets_, run); }
  void Work() override {
    const char* const begin = edit_.text.data();
    std::from_chars(begin, begin + edit_.text.size(), this->inputs_.m[edit_.row]);
    this->ComputeRow(edit_.row);
  }

 private:
  Edit edit_{this->sets_, 0};
};

class EditedNotebook final : public ThreeFormulasNotebook {
 public:
  explicit EditedNotebook(const Sets& sets) : ThreeFormulasNotebook(sets) {
    ThreeFormulasNotebook::Prepare(0);
    ThreeFormulasNotebook::Work();
  }
  void Prepare(std::size_t run) override {
    const Edit edit(sets_, run);
    row_ = edit.row;
    text_ = Wide(edit.text);
  }
  void Work() override {
    inputs_.m.Enter(row_, text_);
    notebook_.Recalculate(&inputs_.table);
    for (const Column& column : Results())
      characters_ += column.ReadText(row_);
  }

 private:
  std::size_t row_ = 0;
  std::u16string text_;
  std::size_t characters_ = 0;
};

template <typename... AllPeers>
Peers MakePeers(const Sets& sets) {
  Peers peers;
  (peers.push_back(std::make_unique<AllPeers>(sets)), ...);
  return peers;
}

// The work of a peer with one set of inputs, as a process of its own.
template <typename OnePeer>
bool WorkOnce() {
  const Sets sets(kRows);
  OnePeer peer(sets);
  peer.Prepare(0);
  peer.Work();
  return true;
}

}  // namespace

bool MeasureOneFormula(std::string_view metric) {
  const Sets sets(kManyRows);
  return MeasurePeers({metric, 1e9 / kManyRows, 1, kManyRows},
                      MakePeers<OneFormulaNotebook, OneFormulaMuParser, OneFormulaLoop>(sets));
}

bool MeasureThreeFormulas(std::string_view metric) {
  const Sets sets(kRows);
  return MeasurePeers(
      {metric, 1e9 / (kColumns * kRows), kColumns, kRows, kRuns, kShownDigits},
      MakePeers<ThreeFormulasNotebook, ThreeFormulasMuParser, ThreeFormulasLoop>(sets));
}

bool MeasureThreeFormulasMemory(std::string_view metric) {
  return MeasureProcesses(metric, &Outcome::peak_mebibytes,
                          {{"ktformula", WorkOnce<ThreeFormulasNotebook>},
                           {"muparser", WorkOnce<ThreeFormulasMuParser>},
                           {"loop", WorkOnce<ThreeFormulasLoop>}});
}

bool MeasureEdit(std::string_view metric) {
  constexpr std::size_t kEdits = 101;
  const Sets sets(kRows);
  return MeasurePeers({metric, 1e3, kColumns, kRows, kEdits, kShownDigits},
                      MakePeers<EditedNotebook, EditedArrays<ThreeFormulasMuParser>,
                                EditedArrays<ThreeFormulasLoop>>(sets));
}

}  // namespace side_by_side

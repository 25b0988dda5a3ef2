#include "notebook/commands/problems_output.h"

#include <algorithm>
#include <array>
#include <utility>

#include "analysis/find_problems.h"

#include "notebook/files/utf.h"
#include "notebook/files/watched_form.h"
#include "values/number_text.h"
#include "values/text.h"

namespace ktnotebook {

using ktformula::Problem;
using ktformula::Severity;
using ktformula::TextRange;

namespace {

constexpr std::size_t kFirstFew = 3;
constexpr std::u16string_view kIndent = u"  ";
// The columns that a line of a formula may take where no terminal sets a limit.
constexpr int kWidestLine = 100;

constexpr std::array<std::string_view, 3> kColours{"\x1B[31m", "\x1B[33m", "\x1B[36m"};
constexpr std::string_view kPlain = "\x1B[0m";

std::string Coloured(std::string_view text, Severity severity, const TableStyle& style) {
  if (!style.coloured) return std::string(text);
  return std::string(kColours[static_cast<std::size_t>(severity)]) + std::string(text) +
         std::string(kPlain);
}

std::string ShownText(std::u16string_view text) {
  return ToUtf8(Printable(text));
}

std::string Counted(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

// "2 problems: 1 error, 1 note".
std::string CountText(const std::array<std::size_t, 3>& counts) {
  std::string text;
  for (const Severity severity : {Severity::kError, Severity::kWarning, Severity::kNote}) {
    const std::size_t count = counts[static_cast<std::size_t>(severity)];
    if (count == 0) continue;
    text += text.empty() ? ": " : ", ";
    text += Counted(count, ToUtf8(ktformula::SeverityText(severity)));
  }
  return Counted(counts[0] + counts[1] + counts[2], "problem") + text;
}

std::array<std::size_t, 3> CountBySeverity(const std::vector<FormProblems>& forms) {
  std::array<std::size_t, 3> counts{};
  for (const FormProblems& form : forms) {
    for (const Problem& problem : form.problems)
      ++counts[static_cast<std::size_t>(problem.severity)];
  }
  return counts;
}

std::string HeadOf(const Problem& problem) {
  return ToUtf8(ktformula::SeverityText(problem.severity)) + "[" +
         ToUtf8(ktformula::KindOf(problem.code).text) + "]";
}

std::string RowsText(const Problem& problem) {
  if (!problem.rows || *problem.rows < 2) return {};
  return " (in " + std::to_string(*problem.rows) + " rows)";
}

std::string MessageOf(const Problem& problem, const NotebookForm& form) {
  return ": " + ShownText(AddressOf(problem, form)) + ": " + ShownText(problem.message) +
         RowsText(problem);
}

// A line of a formula in three parts: what is marked, and what stands around it.
struct MarkedLine {
  std::u16string before;
  std::u16string marked;
  std::u16string behind;
};

// As it is shown; a tab takes one column.
std::u16string ShownPart(std::u16string_view text) {
  std::u16string shown(text);
  std::replace(shown.begin(), shown.end(), u'\t', u' ');
  std::erase(shown, u'\r');
  return Printable(shown);
}

MarkedLine LineAround(std::u16string_view formula, const TextRange& place) {
  const std::size_t start = std::min(place.start, formula.size());
  const std::size_t break_before = start == 0 ? formula.npos : formula.rfind(u'\n', start - 1);
  const std::size_t begin = break_before == formula.npos ? 0 : break_before + 1;
  const std::size_t end = std::min(formula.find(u'\n', start), formula.size());
  const std::size_t mark_end = std::min(place.End(), end);
  return {ShownPart(formula.substr(begin, start - begin)),
          ShownPart(formula.substr(start, mark_end - start)),
          ShownPart(formula.substr(mark_end, end - mark_end))};
}

// The end of the text that takes no more columns than `width`, behind an ellipsis.
std::u16string CutFront(std::u16string text, int width) {
  if (DisplayWidth(text) <= width) return text;
  // More can not be needed, but for marks without a width; what is left is measured again and
  // again.
  const std::size_t most = static_cast<std::size_t>(std::max(width, 1)) * 4;
  if (text.size() > most) {
    const std::size_t cut = text.size() - most;
    const bool is_in_pair = text[cut] >= 0xDC00 && text[cut] < 0xE000;
    text.erase(0, is_in_pair ? cut + 1 : cut);
  }
  while (!text.empty() && DisplayWidth(text) > std::max(width - 1, 0)) {
    const bool is_pair = text.size() > 1 && text[0] >= 0xD800 && text[0] < 0xDC00;
    text.erase(0, is_pair ? 2 : 1);
  }
  return u"\u2026" + text;
}

// The line cut around what is marked, where it is too wide.
MarkedLine Fit(MarkedLine line, int width) {
  const int total =
      DisplayWidth(line.before) + DisplayWidth(line.marked) + DisplayWidth(line.behind);
  if (total <= width) return line;
  line.marked = CutToWidth(line.marked, std::max(width - 2, 1));
  const int room = std::max(width - DisplayWidth(line.marked), 2);
  line.before =
      CutFront(std::move(line.before), std::max(room / 2, room - DisplayWidth(line.behind)));
  line.behind = CutToWidth(line.behind, std::max(room - DisplayWidth(line.before), 1));
  return line;
}

std::string ExcerptOf(const Problem& problem, const TableStyle& style) {
  if (problem.formula.empty()) return {};
  const int width =
      (style.width > 0 ? style.width : kWidestLine) - static_cast<int>(kIndent.size());
  const MarkedLine line =
      Fit(LineAround(problem.formula, problem.place.value_or(TextRange())), width);
  const std::string indent = ToUtf8(kIndent);
  std::string text = indent + ToUtf8(line.before + line.marked + line.behind) + "\n";
  if (!problem.place) return text;
  const auto offset = static_cast<std::size_t>(DisplayWidth(line.before));
  const auto marked = static_cast<std::size_t>(std::max(DisplayWidth(line.marked), 1));
  return text + indent + std::string(offset, ' ') +
         Coloured(std::string(marked, '^'), problem.severity, style) + "\n";
}

std::string ProblemText(const Problem& problem, const NotebookForm& form, const TableStyle& style) {
  std::string text = Coloured(HeadOf(problem), problem.severity, style) + MessageOf(problem, form) +
                     "\n" + ExcerptOf(problem, style);
  if (!problem.help.empty()) text += ToUtf8(kIndent) + "help: " + ShownText(problem.help) + "\n";
  return text;
}

}  // namespace

FormProblems ProblemsOf(NotebookForm& form, NotebookFramework& framework,
                        const RecalculationResult& result) {
  const ktformula::LocaleScope kept_in(form.OwnLocale().separators);
  std::vector<Ref<ktformula::TableCell>> unsettled;
  for (const NotebookCell& cell : result.unsettled)
    unsettled.push_back(cell.Object());
  return {&form, ktformula::FindProblems(WatchForm(form, framework), unsettled)};
}

void AddUnread(std::vector<FormProblems>& forms, const Notebook& notebook) {
  if (notebook.notes.empty()) return;
  NotebookTable& table = *notebook.forms.front()->Tables().front();
  for (const CsvNote& note : notebook.notes) {
    Problem& problem = forms.front().problems.emplace_back(ktformula::ProblemCode::kUnread);
    problem.table = Ref<ktformula::Table>(&table);
    problem.column = Ref<ktformula::TableProperty>(table.FindColumn(note.column));
    problem.row = note.texts.row - 1;
    problem.rows = note.texts.count;
    problem.message = FromStoredUtf8(note.message);
    problem.help = FromStoredUtf8(note.help);
  }
}

std::size_t CountProblems(const std::vector<FormProblems>& forms) {
  std::size_t count = 0;
  for (const FormProblems& form : forms)
    count += form.problems.size();
  return count;
}

bool HaveErrors(const std::vector<FormProblems>& forms) {
  return std::any_of(forms.begin(), forms.end(), [](const FormProblems& form) {
    return std::any_of(form.problems.begin(), form.problems.end(),
                       [](const Problem& problem) { return problem.severity == Severity::kError; });
  });
}

std::optional<std::u16string> RowIdOf(const Problem& problem) {
  if (!problem.row || !problem.table) return std::nullopt;
  return static_cast<const NotebookTable&>(*problem.table).Rows()[*problem.row].ID();
}

bool Concerns(const Problem& problem, const NotebookCell& cell) {
  if (problem.definition || problem.column.get() != &cell.OwningColumn()) return false;
  if (!problem.row || *problem.row == cell.RowIndex()) return true;
  // Of several rows the first is named.
  return problem.rows.value_or(1) > 1 && *problem.row < cell.RowIndex();
}

std::u16string AddressOf(const Problem& problem, const NotebookForm& form) {
  std::u16string address = form.Name();
  if (problem.table) address += u"/" + static_cast<const NotebookTable&>(*problem.table).Name();
  if (problem.column) address += u":" + problem.column->Property()->Name();
  if (problem.definition) address += u":" + *problem.definition;
  if (const auto row = RowIdOf(problem)) address += u":" + *row;
  return address;
}

std::string ProblemsText(const std::vector<FormProblems>& forms, const TableStyle& style) {
  if (CountProblems(forms) == 0) return "no problems\n";
  std::string text;
  for (const FormProblems& form : forms) {
    for (const Problem& problem : form.problems)
      text += ProblemText(problem, *form.form, style) + "\n";
  }
  return text + CountText(CountBySeverity(forms)) + "\n";
}

void ProblemSummary::Add(const FormProblems& form) {
  for (const Problem& problem : form.problems) {
    ++counts_[static_cast<std::size_t>(problem.severity)];
    if (first_few_.size() == kFirstFew) continue;
    const std::string help = problem.help.empty() ? "" : "; " + ToUtf8(problem.help);
    first_few_.push_back(HeadOf(problem) + MessageOf(problem, *form.form) + help);
  }
}

bool ProblemSummary::HasErrors() const {
  return counts_[static_cast<std::size_t>(Severity::kError)] > 0;
}

void ProblemSummary::Say(const Console& console) const {
  const std::size_t count = counts_[0] + counts_[1] + counts_[2];
  if (count == 0) return;
  console.Say(CountText(counts_));
  for (const std::string& line : first_few_)
    console.Say("  " + line);
  if (count > kFirstFew)
    console.Say("  and " + std::to_string(count - kFirstFew) + " more: see check");
}

void SayProblems(std::vector<FormProblems> forms, const Console& console,
                 const ProblemTest& is_edited) {
  bool is_broken = false;
  ProblemSummary summary;
  for (FormProblems& form : forms) {
    std::erase_if(form.problems, [](const Problem& problem) {
      return problem.code == ktformula::ProblemCode::kUnread;
    });
    if (is_edited) {
      const auto others =
          std::stable_partition(form.problems.begin(), form.problems.end(), is_edited);
      is_broken |= std::any_of(form.problems.begin(), others, [](const Problem& problem) {
        return problem.severity == Severity::kError;
      });
    }
    summary.Add(form);
  }
  summary.Say(console);
  if (is_broken) console.Say("note: what was entered is saved all the same");
}

}  // namespace ktnotebook

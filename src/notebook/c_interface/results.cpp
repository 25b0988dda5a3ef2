#include "notebook/c_interface/results.h"

#include <memory>
#include <optional>
#include <utility>

namespace ktnotebook {

namespace {

[[noreturn]] void RefuseList(const char* argument, const char* reason) {
  throw CallFailure(KTF9_ARGUMENT, argument, reason);
}

struct RecalculationObject final : HandleObject {
  static constexpr const char* kKind = "a recalculation";
  explicit RecalculationObject(ktformula9::Recalculation own) : done(std::move(own)) {}
  const ktformula9::Recalculation done;
};

struct ProblemsObject final : HandleObject {
  static constexpr const char* kKind = "problems";
  explicit ProblemsObject(std::vector<ktformula9::Problem> own) : items(std::move(own)) {}
  const std::vector<ktformula9::Problem> items;
};

struct FunctionsObject final : HandleObject {
  static constexpr const char* kKind = "functions";
  explicit FunctionsObject(std::vector<ktformula9::FunctionHelp> own) : items(std::move(own)) {}
  const std::vector<ktformula9::FunctionHelp> items;
};

template <typename List>
const auto& ItemOf(const List& list, std::size_t index) {
  RequireIndex(index, list.size());
  return list[index];
}

static_assert(static_cast<int>(ktformula9::Severity::kError) == KTF9_SEVERITY_ERROR);
static_assert(static_cast<int>(ktformula9::Severity::kWarning) == KTF9_SEVERITY_WARNING);
static_assert(static_cast<int>(ktformula9::Severity::kNote) == KTF9_SEVERITY_NOTE);

void Show(const ktformula9::Problem& problem, ktf9_problem& view) {
  view.code = ViewOf(problem.code);
  view.severity = static_cast<ktf9_severity>(problem.severity);
  view.table = ViewOf(problem.table);
  view.column = ViewOf(problem.column);
  view.definition = ViewOf(problem.definition);
  view.row = problem.row.value_or(KTF9_NONE);
  view.rows = problem.rows.value_or(KTF9_NONE);
  view.formula = ViewOf(problem.formula);
  view.start = problem.start.value_or(KTF9_NONE);
  view.length = problem.length.value_or(KTF9_NONE);
  view.message = ViewOf(problem.message);
  view.help = ViewOf(problem.help);
}

}  // namespace

std::vector<std::string_view> ReadTexts(std::string_view bytes, std::size_t count,
                                        const std::size_t* ends) {
  std::vector<std::string_view> texts;
  texts.reserve(std::min(count, bytes.size()));
  std::size_t begin = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t end = ends != nullptr ? ends[i] : bytes.find('\0', begin);
    if (end >= bytes.size()) {
      RefuseList(ends != nullptr ? "ends" : "bytes", "there are fewer texts than there should be");
    }
    if (end < begin) RefuseList("ends", "a text ends before it begins");
    if (bytes[end] != '\0') RefuseList("ends", "a text does not end with a NUL");
    texts.push_back(bytes.substr(begin, end - begin));
    begin = end + 1;
  }
  if (begin != bytes.size()) RefuseList("length", "there are more texts than there should be");
  return texts;
}

void GiveRecalculation(ktformula9::Recalculation recalculation, ktf9_recalculation*& place) {
  Give(std::make_shared<RecalculationObject>(std::move(recalculation)), place);
}

void GiveProblems(std::vector<ktformula9::Problem> problems, ktf9_problems*& place) {
  Give(std::make_shared<ProblemsObject>(std::move(problems)), place);
}

void GiveFunctions(std::vector<ktformula9::FunctionHelp> functions, ktf9_functions*& place) {
  Give(std::make_shared<FunctionsObject>(std::move(functions)), place);
}

}  // namespace ktnotebook

using namespace ktnotebook;

ktf9_status ktf9_texts_all(const ktf9_texts* texts, const char** bytes, size_t* length,
                           const size_t** ends, size_t* count, ktf9_error** error) {
  return Call(error, [&] {
    const auto own = Need<TextsObject>(texts, "texts");
    if (bytes != nullptr) *bytes = own->bytes.c_str();
    if (length != nullptr) *length = own->bytes.size();
    if (ends != nullptr) *ends = own->ends.data();
    if (count != nullptr) *count = own->ends.size();
  });
}

ktf9_status ktf9_texts_get(const ktf9_texts* texts, size_t index, ktf9_text* text,
                           ktf9_error** error) {
  return Call(error, [&] {
    const auto own = Need<TextsObject>(texts, "texts");
    ktf9_text& place = NeedPlace(text, "text");
    RequireIndex(index, own->ends.size());
    const std::size_t begin = index > 0 ? own->ends[index - 1] + 1 : 0;
    place = {own->bytes.data() + begin, own->ends[index] - begin};
  });
}

ktf9_status ktf9_texts_destroy(ktf9_texts* texts, ktf9_error** error) {
  return Call(error, [&] { Destroy<TextsObject>(texts, "texts"); });
}

ktf9_status ktf9_recalculation_get(const ktf9_recalculation* recalculation,
                                   ktf9_recalculation_view* view, ktf9_error** error) {
  return Call(error, [&] {
    const auto own = Need<RecalculationObject>(recalculation, "recalculation");
    ktf9_recalculation_view& place = NeedStruct(view, "view");
    place.settled = own->done.settled ? 1 : 0;
    place.rounds = own->done.rounds;
    place.columns = own->done.changed.size();
  });
}

ktf9_status ktf9_recalculation_changed(const ktf9_recalculation* recalculation, size_t index,
                                       ktf9_changed* changed, ktf9_error** error) {
  return Call(error, [&] {
    const auto own = Need<RecalculationObject>(recalculation, "recalculation");
    ktf9_changed& place = NeedStruct(changed, "changed");
    const ktformula9::CellsOfColumn& cells = ItemOf(own->done.changed, index);
    place.table = ViewOf(cells.table);
    place.column = ViewOf(cells.column);
    place.rows = cells.rows.data();
    place.row_count = cells.rows.size();
  });
}

ktf9_status ktf9_recalculation_destroy(ktf9_recalculation* recalculation, ktf9_error** error) {
  return Call(error, [&] { Destroy<RecalculationObject>(recalculation, "recalculation"); });
}

ktf9_status ktf9_functions_count(const ktf9_functions* functions, size_t* count,
                                 ktf9_error** error) {
  return Call(error, [&] {
    const auto own = Need<FunctionsObject>(functions, "functions");
    NeedPlace(count, "count") = own->items.size();
  });
}

ktf9_status ktf9_functions_get(const ktf9_functions* functions, size_t index,
                               ktf9_function_help* help, ktf9_error** error) {
  return Call(error, [&] {
    const auto own = Need<FunctionsObject>(functions, "functions");
    ktf9_function_help& place = NeedStruct(help, "help");
    const ktformula9::FunctionHelp& function = ItemOf(own->items, index);
    place.name = ViewOf(function.name);
    place.least = function.least;
    place.most = function.most;
    place.help = ViewOf(function.help);
  });
}

ktf9_status ktf9_functions_destroy(ktf9_functions* functions, ktf9_error** error) {
  return Call(error, [&] { Destroy<FunctionsObject>(functions, "functions"); });
}

ktf9_status ktf9_problems_count(const ktf9_problems* problems, size_t* count, ktf9_error** error) {
  return Call(error, [&] {
    const auto own = Need<ProblemsObject>(problems, "problems");
    NeedPlace(count, "count") = own->items.size();
  });
}

ktf9_status ktf9_problems_get(const ktf9_problems* problems, size_t index, ktf9_problem* problem,
                              ktf9_error** error) {
  return Call(error, [&] {
    const auto own = Need<ProblemsObject>(problems, "problems");
    Show(ItemOf(own->items, index), NeedStruct(problem, "problem"));
  });
}

ktf9_status ktf9_problems_destroy(ktf9_problems* problems, ktf9_error** error) {
  return Call(error, [&] { Destroy<ProblemsObject>(problems, "problems"); });
}

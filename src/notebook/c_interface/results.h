// Results that are more than a text or a number.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "notebook/c_interface/call.h"
#include "notebook/c_interface/handles.h"
#include "notebook/tables/ktformula9.hpp"

namespace ktnotebook {

// Texts one after another, with a NUL behind each.
struct TextsObject final : HandleObject {
  static constexpr const char* kKind = "a list of texts";
  std::string bytes;
  // Where the NULs are.
  std::vector<std::size_t> ends;

  void Add(std::string_view text) {
    bytes.append(text).push_back('\0');
    ends.push_back(bytes.size() - 1);
  }
};

template <typename Range, typename ToText>
void GiveTexts(const Range& range, ToText&& to_text, ktf9_texts*& place) {
  const auto texts = std::make_shared<TextsObject>();
  for (const auto& item : range)
    texts->Add(to_text(item));
  Give(texts, place);
}

// The texts of a list whose NULs stand where `ends` tells, or, without it, behind each text. Throws
// CallFailure when there are not `count`.
std::vector<std::string_view> ReadTexts(std::string_view bytes, std::size_t count,
                                        const std::size_t* ends);

void GiveRecalculation(ktformula9::Recalculation recalculation, ktf9_recalculation*& place);
void GiveProblems(std::vector<ktformula9::Problem> problems, ktf9_problems*& place);
void GiveFunctions(std::vector<ktformula9::FunctionHelp> functions, ktf9_functions*& place);
void GiveExplanation(ktformula9::Explanation explanation, ktf9_explanation*& place);
void GiveValue(ktformula9::Value value, ktf9_value*& place);

// As C has it.
void ShowValue(const ktformula9::Value& value, ktf9_value_view& view);

void AddFunction(ktformula9::Notebook& notebook, const ktf9_function& function);

}  // namespace ktnotebook

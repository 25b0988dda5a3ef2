#include "notebook/commands/explanation_text.h"

#include "notebook/files/utf.h"

namespace ktnotebook {

namespace {

// What is quoted in a line takes no more columns than this.
constexpr int kWidestQuotation = 48;
constexpr std::string_view kRed = "\x1B[31m";
constexpr std::string_view kPlain = "\x1B[0m";

std::u16string Brief(std::u16string_view text) {
  return CutToWidth(Printable(text), kWidestQuotation);
}

// Indented and cut to the width.
std::string LineText(const StoryLine& line, const TableStyle& style) {
  const int width = style.width > 0 ? style.width : kWidestText;
  const std::u16string indent(static_cast<std::size_t>(line.level) * 2, u' ');
  const std::string text = ToUtf8(CutToWidth(indent + line.text, width));
  return line.is_error && style.coloured ? std::string(kRed) + text + std::string(kPlain) : text;
}

}  // namespace

StoryWords PrintableWords() {
  return {&Printable, &Brief};
}

std::string ExplanationText(const ktformula::Explanation& explanation, const TableStyle& style) {
  std::string text;
  for (const StoryLine& line : ExplanationStory(explanation, style.locale, PrintableWords()))
    text += LineText(line, style) + "\n";
  return text;
}

}  // namespace ktnotebook

#include "notebook/files/csv_note.h"

#include <utility>

#include "notebook/files/utf.h"

namespace ktnotebook {

CsvNote MakeCsvNote(CsvNoteKind kind, std::u16string_view column, CsvTexts texts,
                    std::size_t filled, std::string_view what, std::string help) {
  // As much of a text as tells which one it is.
  constexpr int kWidth = 40;
  const bool is_one = filled > 0 && texts.count == 1;
  std::string message =
      filled == 0 ? "most values"
                  : std::to_string(texts.count) + " of " + std::to_string(filled) + " values";
  message.append(" ").append(what).append(is_one ? ", \"" : ", the first \"");
  message += ToUtf8(CutToWidth(texts.first, kWidth)) + "\" in row " + std::to_string(texts.row);
  return {kind,   std::u16string(column), std::move(texts),
          filled, std::move(message),     std::move(help)};
}

std::string NoteText(const CsvNote& note) {
  const std::string text = "column \"" + ToUtf8(note.column) + "\": " + note.message;
  return note.help.empty() ? text : text + "; " + note.help;
}

}  // namespace ktnotebook

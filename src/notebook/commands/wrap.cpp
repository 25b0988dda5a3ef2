#include "notebook/commands/wrap.h"

#include <algorithm>

namespace ktnotebook {

std::string Wrap(std::string_view text, std::string_view first, std::string_view indent,
                 std::size_t width) {
  std::string wrapped;
  std::string line(first);
  bool has_words = false;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    if (has_words && line.size() + 1 + end > width) {
      wrapped += line + "\n";
      line = indent;
      has_words = false;
    }
    if (has_words) line += " ";
    line += text.substr(0, end);
    has_words = true;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return wrapped + line + "\n";
}

}  // namespace ktnotebook

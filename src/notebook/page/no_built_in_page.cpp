// A program without the page's files.
#include "notebook/page/page_files.h"

namespace ktnotebook {

std::optional<std::string> BuiltInPageFiles::Find(const std::string&) const {
  return std::nullopt;
}

}  // namespace ktnotebook

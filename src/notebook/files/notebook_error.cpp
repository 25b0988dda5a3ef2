#include "notebook/files/notebook_error.h"

#include "notebook/files/utf.h"
#include "values/nearest_name.h"

namespace ktnotebook {

std::string DidYouMean(std::u16string_view name, std::span<const std::u16string> candidates) {
  const auto nearest = ktformula::NearestName(name, candidates);
  return nearest ? "; did you mean \"" + ToUtf8(*nearest) + "\"?" : "";
}

}  // namespace ktnotebook

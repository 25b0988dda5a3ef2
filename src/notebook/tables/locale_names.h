// The number separators that go with a locale's name.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "values/number_text.h"

namespace ktnotebook {

// "C", "POSIX", or a language code with, if wanted, a country, an encoding and a modifier:
// "de", "de_DE", "de-AT", "fr_FR.UTF-8", "de_DE@euro". A country that is not known takes the
// separators of the language; an unknown language, or a name of another shape, gives nothing.
std::optional<ktformula::Locale> FindLocale(std::string_view name);

// A locale with the name that was given for it.
struct NamedLocale {
  std::u16string name = u"C";
  ktformula::Locale separators;

  bool operator==(const NamedLocale&) const = default;
};

// Nothing for what is no locale's name.
std::optional<NamedLocale> FindNamedLocale(std::u16string_view name);

}  // namespace ktnotebook

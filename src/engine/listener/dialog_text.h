// How the boxes of the properties dialog show formulas and definitions.
//
// A formula parts its lines by line feeds, a box by carriage return and line feed. Definitions
// are shown together:
//
//   total = SUM([Mass]);
//   half = [total] / 2;
//
// There is no way to write a ";" within a formula of this text: it ends the definition.
#pragma once

#include <string>
#include <string_view>

#include "listener/configuration.h"

namespace ktformula {

// With a carriage return put in front of each line feed.
std::u16string ToBoxText(std::u16string_view text);
// Without any carriage return.
std::u16string FromBoxText(std::u16string_view text);

// All definitions in their order, as a box shows them.
std::u16string DefinitionsText(const PropertyFormulas& definitions);

// Makes the definitions those of the text; what stands between two ";" without a "=" is ignored.
// White space around names and formulas does not count. Definitions that are the same as before
// keep their parsed formulas. Whether anything changed.
bool StoreDefinitionsText(std::u16string_view text, PropertyFormulas& definitions);

}  // namespace ktformula

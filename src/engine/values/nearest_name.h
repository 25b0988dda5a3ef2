// The name that somebody may have meant.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ktformula {

// The candidate that most probably was meant by `name`, which is none of them: one that differs
// from it in the case of letters, else in few other characters (one, or a third of them; two
// neighbours that changed places count as one), else one of the two begins with the other. Nothing
// when no candidate is near; among equally near ones the first.
std::optional<std::u16string> NearestName(std::u16string_view name,
                                          std::span<const std::u16string> candidates);

}  // namespace ktformula

// What computed cells say when they show an error, and what to do about each.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace ktformula {

struct ErrorMessage {
  // The description as cells show it behind "#Error: "; "*" stands for what differs from cell to
  // cell. Plain ASCII, like the others.
  std::string_view text;
  std::string_view cause;
  std::string_view mend;
  // A formula that comes to it in a cell of the examples' table; empty where one formula alone can
  // not.
  std::string_view example;
};

// All of them, as they come in the life of a formula: read, evaluated, shown.
std::span<const ErrorMessage> ErrorMessages() noexcept;

// The row for a description; nullptr for one that is not the component's own.
const ErrorMessage* FindErrorMessage(std::u16string_view description) noexcept;

// What to do about it, as the help of a problem; "" where nothing is known.
std::u16string HelpWithError(std::u16string_view description);

}  // namespace ktformula

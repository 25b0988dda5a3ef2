// Why the notebook refuses its input or can not do its work.
#pragma once

#include <stdexcept>

namespace ktnotebook {

// what() is UTF-8 and names the place and the reason.
class NotebookError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace ktnotebook

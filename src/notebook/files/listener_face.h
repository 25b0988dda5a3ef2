// How the notebook asks a listener for what else it is.
#pragma once

#include "host/ref.h"
#include "values/raised_error.h"

namespace ktnotebook {

// The listener's face of this kind; raises error 13 when its class has none.
template <typename Face>
Face& FaceOf(ktformula::HostObject& listener) {
  auto* const face = dynamic_cast<Face*>(&listener);
  if (face == nullptr) ktformula::Raise(ktformula::RuntimeError::kTypeMismatch);
  return *face;
}

}  // namespace ktnotebook

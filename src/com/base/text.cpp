#include "com/base/text.h"

#include <limits>
#include <new>

namespace ktcom {

Bstr::Bstr(std::u16string_view text) {
  if (text.size() <= std::numeric_limits<UINT>::max()) {
    text_ = SysAllocStringLen(Wide(text.data()), static_cast<UINT>(text.size()));
  }
  if (text_ == nullptr) throw std::bad_alloc();
}

}  // namespace ktcom

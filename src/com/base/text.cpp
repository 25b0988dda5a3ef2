#include "com/base/text.h"

#include <new>

namespace ktcom {

Bstr::Bstr(std::u16string_view text)
    : text_(SysAllocStringLen(Wide(text.data()), static_cast<UINT>(text.size()))) {
  if (text_ == nullptr) throw std::bad_alloc();
}

}  // namespace ktcom

// Which COM object stands for which object of the engine, so that one thing is one object to
// whoever asks.
#pragma once

#include "com/base/variant.h"

namespace ktcom {

// Entries do not keep the COM object alive: it takes itself out when it goes.
void AddShell(const void* native, IDispatch* shell);
void RemoveShell(const void* native) noexcept;
// Empty when there is none.
ComPtr<IDispatch> FindShell(const void* native);

}  // namespace ktcom

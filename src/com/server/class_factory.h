// Makes the component's objects for COM.
#pragma once

#include "com/base/variant.h"
#include "com/base/windows_headers.h"

namespace ktcom {

// The factory of a class; empty for a class that is none of the component's.
ComPtr<IClassFactory> ClassFactoryOf(REFCLSID class_id);

}  // namespace ktcom

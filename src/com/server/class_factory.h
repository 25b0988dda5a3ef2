// Makes the component's objects for COM.
#pragma once

#include "com/base/variant.h"
#include "com/base/windows_headers.h"
#include "com/component/classes.h"

namespace ktcom {

ComPtr<IClassFactory> MakeClassFactory(const ComponentClass& component_class);

}  // namespace ktcom

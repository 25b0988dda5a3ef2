// Windows' own headers, in the one order that they can stand.
#pragma once

// clang-format off
#include <windows.h>
#include <oaidl.h>
#include <oleauto.h>
#include <ocidl.h>
#include <dispex.h>
#include <wrl/client.h>
// clang-format on

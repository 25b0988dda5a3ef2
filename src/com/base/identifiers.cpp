// The identifiers of the interfaces and classes of the type libraries, defined once for a module.
#include "com/base/windows_headers.h"

// clang-format off
#include <initguid.h>
#include "KtFramework9.h"
#include "KtStandard9.h"
#include "KtFormula9.h"
// clang-format on

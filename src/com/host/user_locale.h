// How the user of this process writes numbers.
#pragma once

#include "com/base/windows_headers.h"

namespace ktcom {

// As the user has told the system; done once, when the component is first asked for a class.
void UseSystemLocale();

// As the application has it, if it tells (see IKtUserLocale); from then on for all of the process.
void UseLocaleOf(IDispatch* framework);

}  // namespace ktcom

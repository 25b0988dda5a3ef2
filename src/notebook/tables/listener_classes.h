// The classes of listeners that the component within this program has.
#pragma once

#include <string_view>

#include "host/field_listener.h"

namespace ktnotebook {

// A new listener of the class with this program identifier, empty when there is none.
ktformula::Ref<ktformula::IKtFieldListener> CreateOwnListener(
    std::u16string_view program_identifier);

}  // namespace ktnotebook

// The notebook's services as COM objects.
#pragma once

#include "KtFramework9.h"

#include "com/base/variant.h"
#include "host/framework.h"
#include "host/ref.h"

namespace ktcom {

// All give nothing for an empty reference.
ComPtr<IKtFramework> ToObject(const ktformula::Ref<ktformula::HostFramework>& framework);
ComPtr<IKtHostService> ToObject(const ktformula::Ref<ktformula::HostService>& service);
ComPtr<IKtConfigurationHelper> ToObject(
    const ktformula::Ref<ktformula::ConfigurationHelper>& helper);

}  // namespace ktcom

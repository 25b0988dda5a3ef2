// Adapters of foreign listeners: those that a host's program creates from a registered component,
// and those that the component meets when a host wrote them.
#pragma once

#include "KtFormula9.h"

#include "com/host/foreign.h"
#include "host/field_listener.h"
#include "host/ref.h"

namespace ktcom {

// The adapter of a listener, by what the object answers to: an IKtFormulaListener or an
// IKtFormulaFormat beside the faces that every listener has. Empty for Nothing and for an object
// that is no listener. The adapter ends what was begun with its Initialize, if nobody else did.
ktformula::Ref<ktformula::IKtFieldListener> AdaptListener(IDispatch* object);

// The adapter of any object that a host or a listener hands over: the native object when it is this
// module's own. Empty for Nothing.
ktformula::Ref<ktformula::HostObject> AdaptObject(IDispatch* object);

}  // namespace ktcom

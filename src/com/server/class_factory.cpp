#include "com/server/class_factory.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "com/base/errors.h"
#include "com/base/module.h"
#include "com/component/classes.h"

namespace ktcom {

namespace {

// One for each class, as long as the module is loaded: some script engines never let go of the
// factories that they ask for, and a reference to one like this costs no memory.
class ClassFactory final : public IClassFactory {
 public:
  explicit ClassFactory(const ComponentClass& component_class) : class_(component_class) {}

  const CLSID& ClassIdentifier() const noexcept { return class_.identifier; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID identifier, void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    const bool known =
        IsEqualGUID(identifier, IID_IUnknown) || IsEqualGUID(identifier, IID_IClassFactory);
    *object = known ? static_cast<IClassFactory*>(this) : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
  }
  // What is counted is the module's use.
  ULONG STDMETHODCALLTYPE AddRef() noexcept override {
    LockModule();
    return 2;
  }
  ULONG STDMETHODCALLTYPE Release() noexcept override {
    UnlockModule();
    return 1;
  }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID identifier,
                                           void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    return Answer(this, IID_IClassFactory,
                  [&] { Check(class_.create()->QueryInterface(identifier, object)); });
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) noexcept override {
    lock != FALSE ? LockModule() : UnlockModule();
    return S_OK;
  }

 private:
  const ComponentClass& class_;
};

using Factories = std::array<ClassFactory, kComponentClassCount>;

template <std::size_t... kIndices>
Factories MakeFactories(std::index_sequence<kIndices...>) {
  return {ClassFactory(ComponentClasses()[kIndices])...};
}

}  // namespace

ComPtr<IClassFactory> ClassFactoryOf(REFCLSID class_id) {
  static Factories factories = MakeFactories(std::make_index_sequence<kComponentClassCount>());
  const auto found = std::find_if(factories.begin(), factories.end(), [&](const auto& one) {
    return IsEqualGUID(one.ClassIdentifier(), class_id);
  });
  return found != factories.end() ? &*found : nullptr;
}

}  // namespace ktcom

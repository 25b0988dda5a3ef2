#include "com/server/class_factory.h"

#include "com/base/errors.h"
#include "com/base/module.h"

namespace ktcom {

namespace {

class ClassFactory final : public IClassFactory {
 public:
  explicit ClassFactory(const ComponentClass& component_class) : class_(component_class) {}
  ClassFactory(const ClassFactory&) = delete;
  ClassFactory& operator=(const ClassFactory&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID identifier, void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    const bool known =
        IsEqualGUID(identifier, IID_IUnknown) || IsEqualGUID(identifier, IID_IClassFactory);
    *object = known ? static_cast<IClassFactory*>(this) : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() noexcept override {
    return static_cast<ULONG>(InterlockedIncrement(&references_));
  }
  ULONG STDMETHODCALLTYPE Release() noexcept override {
    const LONG left = InterlockedDecrement(&references_);
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
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
  ~ClassFactory() = default;

  const ComponentClass& class_;
  LONG references_ = 0;
  ModuleLock lock_;
};

}  // namespace

ComPtr<IClassFactory> MakeClassFactory(const ComponentClass& component_class) {
  return new ClassFactory(component_class);
}

}  // namespace ktcom

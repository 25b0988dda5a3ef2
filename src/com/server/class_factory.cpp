#include "com/server/class_factory.h"

#include "com/base/counted.h"
#include "com/base/errors.h"
#include "com/base/module.h"

namespace ktcom {

namespace {

class ClassFactory final : public PlainObject<ClassFactory, IClassFactory> {
 public:
  explicit ClassFactory(const ComponentClass& component_class) : class_(component_class) {}

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

}  // namespace

ComPtr<IClassFactory> MakeClassFactory(const ComponentClass& component_class) {
  return MakeObject<ClassFactory>(component_class);
}

}  // namespace ktcom

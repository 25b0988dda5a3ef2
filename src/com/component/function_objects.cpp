#include "com/component/function_objects.h"

#include <type_traits>
#include <typeinfo>

#include "com/base/shells.h"
#include "com/component/arguments.h"
#include "com/component/cell_value_object.h"
#include "com/component/classes.h"
#include "com/component/evaluation_stack.h"
#include "com/component/named_values.h"
#include "com/component/token_objects.h"
#include "com/host/notebook_adapters.h"
#include "functions/function_base.h"

namespace ktcom {

using EngineFunction = ktformula::IKtFormulaFunction;
using FunctionPointer = std::shared_ptr<EngineFunction>;
using ktformula::Ref;

namespace {

// The class in the type library of a function of the component; GUID_NULL for any other.
const GUID& ClassOf(const EngineFunction& function) noexcept {
  const auto* own = dynamic_cast<const ktformula::FunctionBase*>(&function);
  return own != nullptr ? ClassIdentifierOf(own->Row().class_name) : GUID_NULL;
}

class FunctionObject final : public Object<FunctionObject, IKtFormulaFunction> {
 public:
  explicit FunctionObject(FunctionPointer function) : function_(std::move(function)) {
    AddShell(function_.get(), this);
  }
  ~FunctionObject() { RemoveShell(function_.get()); }

  const GUID& ClassIdentifier() const noexcept { return ClassOf(*function_); }

  void* STDMETHODCALLTYPE Native(const std::type_info& type) noexcept override {
    return type == typeid(FunctionPointer) ? &function_ : nullptr;
  }

  HRESULT STDMETHODCALLTYPE Initialize(IDispatch* listener) noexcept override {
    return Answer([&] {
      if (listener == nullptr) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
      listener_.Take(listener);
      function_->Initialize(listener_);
    });
  }
  HRESULT STDMETHODCALLTYPE ComputeValue(IDispatch* args, IDispatch* sco,
                                         IDispatch* TargetCellValue) noexcept override {
    return Answer([&] {
      const EvaluationCall call;
      const Ref<ktformula::NotebookObject> object = AdaptNotebookObject(sco);
      function_->ComputeValue(LayerArgument(args), object.get(),
                              CellValueArgument(TargetCellValue));
    });
  }
  HRESULT STDMETHODCALLTYPE Terminate() noexcept override {
    return Answer([&] {
      function_->Terminate();
      listener_.Take(nullptr);
    });
  }

 private:
  FunctionPointer function_;
  // Whoever initialised a function that belongs to no listener of the component.
  NamedValuesArgument listener_;
};

// Ends the use of a call's tokens.
class ArgumentsLease {
 public:
  ArgumentsLease() : lease_(std::make_shared<TokenLease>()) {}
  ArgumentsLease(const ArgumentsLease&) = delete;
  ArgumentsLease& operator=(const ArgumentsLease&) = delete;
  ~ArgumentsLease() { lease_->ended = true; }

  const std::shared_ptr<TokenLease>& Get() const noexcept { return lease_; }

 private:
  std::shared_ptr<TokenLease> lease_;
};

// Lends a value to a COM object for the length of a call; what the call made of it, an error or
// not, is the value's afterwards and the object's no more.
class LentValue {
 public:
  explicit LentValue(ktformula::CellValue& value)
      : value_(value), object_(MakeObject<CellValueObject>(std::move(value))) {}
  LentValue(const LentValue&) = delete;
  LentValue& operator=(const LentValue&) = delete;
  ~LentValue() { value_ = std::move(object_->Content()); }

  IDispatch* Get() const noexcept { return object_.Get(); }

 private:
  static_assert(std::is_nothrow_move_assignable_v<ktformula::CellValue>);

  ktformula::CellValue& value_;
  ComPtr<CellValueObject> object_;
};

// A function that a host has put among those of a listener.
class ForeignFunction final : public EngineFunction {
 public:
  explicit ForeignFunction(IDispatch* function) : function_(function) {}

  IDispatch* Dispatch() const noexcept { return function_.Dispatch(); }

  // The host has made it ready itself.
  void Initialize(ktformula::NamedValues&) override {}
  void ComputeValue(const ktformula::TokenLayer* args, ktformula::NotebookObject* sco,
                    ktformula::CellValue& TargetCellValue) override {
    const ArgumentsLease lease;
    const ComPtr<IKtTokenLayer> arguments = MakeArgumentsObject(args, lease.Get());
    const LentValue target(TargetCellValue);
    function_.Call<void, &::IKtFormulaFunction::ComputeValue>(
        u"ComputeValue", static_cast<IDispatch*>(arguments.Get()), ToDispatch(sco).Get(),
        target.Get());
  }
  void Terminate() override {
    function_.Call<void, &::IKtFormulaFunction::Terminate>(u"Terminate");
  }

 private:
  HostPointer<::IKtFormulaFunction> function_;
};

FunctionPointer ToEngineFunction(IDispatch* object) {
  if (object == nullptr) return nullptr;
  if (const auto* own = NativeOf<FunctionPointer>(object)) {
    // A formula's tree that keeps the function keeps the object too, and with it the listener that
    // the object was made ready for.
    const auto keeper = std::make_shared<ComPtr<IDispatch>>(object);
    return FunctionPointer(keeper, own->get());
  }
  return std::make_shared<ForeignFunction>(object);
}

}  // namespace

ComPtr<IKtFormulaFunction> MakeFunctionObject(FunctionPointer function) {
  return MakeObject<FunctionObject>(std::move(function));
}

ComPtr<IDispatch> ToFunctionObject(const FunctionPointer& function) {
  if (function == nullptr) return nullptr;
  if (const auto* foreign = dynamic_cast<const ForeignFunction*>(function.get())) {
    return foreign->Dispatch();
  }
  ComPtr<IDispatch> object = FindShell(function.get());
  if (object == nullptr) object = MakeFunctionObject(function);
  return object;
}

void ScriptedFunctions::Add(std::u16string_view key, FunctionPointer function) {
  functions_.Add(key, Variant(ToFunctionObject(function).Get()));
}

FunctionPointer ScriptedFunctions::Find(std::u16string_view key) const {
  return functions_.Exists(key) ? ToEngineFunction(functions_.Item(key).Object().Get()) : nullptr;
}

std::vector<FunctionPointer> ScriptedFunctions::Items() const {
  std::vector<FunctionPointer> items;
  for (const Variant& item : functions_.Items()) {
    // The host may have put in anything, and be told so when a formula asks for it.
    if (item.Get().vt != VT_DISPATCH) continue;
    if (FunctionPointer function = ToEngineFunction(item.Get().pdispVal)) {
      items.push_back(std::move(function));
    }
  }
  return items;
}

}  // namespace ktcom

#include "com/component/token_objects.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "com/base/shells.h"
#include "com/component/function_objects.h"
#include "values/leak_check.h"
#include "values/raised_error.h"

namespace ktcom {

using ktformula::LayerItem;
using ktformula::TokenLayer;

namespace {

using Lease = std::shared_ptr<const TokenLease>;
using Tree = std::shared_ptr<const ktformula::TokenTree>;

// Objects that outlive their call's tokens, which are counted themselves as long as they live.
ktformula::KtLeakCheck lent_token_counter{"FormulaToken"};
ktformula::KtLeakCheck lent_layer_counter{"TokenLayer"};

class LentCount {
 public:
  LentCount(ktformula::KtLeakCheck& counter, const TokenLease& lease) : count_(counter) {
    if (lease.tree == nullptr) count_.Add(1);
  }

 private:
  ktformula::LeakCountOf count_;
};

void CheckLease(const Lease& lease) {
  if (lease->ended) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
}

class FormulaTokenObject final : public Object<FormulaTokenObject, IKtFormulaToken> {
 public:
  static constexpr const GUID& kClassIdentifier = CLSID_FormulaToken;

  FormulaTokenObject(const LayerItem& item, Lease lease) : item_(item), lease_(std::move(lease)) {}

  void* STDMETHODCALLTYPE Native(const std::type_info& type) noexcept override {
    return type == typeid(LayerItem) && !lease_->ended ? &item_ : nullptr;
  }

  HRESULT STDMETHODCALLTYPE get_TokenType(FormulaTokenTypeEnum* value) noexcept override {
    return Give(value, [&] { return static_cast<FormulaTokenTypeEnum>(Item().TokenType()); });
  }
  HRESULT STDMETHODCALLTYPE get_TokenText(BSTR* value) noexcept override {
    return Give(value, [&] { return Item().TokenText(); });
  }
  HRESULT STDMETHODCALLTYPE get_TokenFunction(IDispatch** value) noexcept override {
    return Give(value, [&] { return ToFunctionObject(Item().Token().TokenFunction); });
  }

 private:
  const LayerItem& Item() const {
    CheckLease(lease_);
    return item_;
  }

  LayerItem item_;
  Lease lease_;
  LentCount count_{lent_token_counter, *lease_};
};

ComPtr<IDispatch> MakeItemObject(const LayerItem& item, const Lease& lease);

// For Each over a layer.
class LayerEnumerator final : public PlainObject<LayerEnumerator, IEnumVARIANT> {
 public:
  LayerEnumerator(const TokenLayer& layer, Lease lease, std::size_t position)
      : layer_(layer), lease_(std::move(lease)), position_(position) {}

  HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* items, ULONG* fetched) noexcept override {
    if (items == nullptr) return E_POINTER;
    ULONG given = 0;
    const HRESULT code = Answer(this, IID_IEnumVARIANT, [&] {
      CheckLease(lease_);
      for (; given < count && position_ < layer_.Count(); ++given, ++position_) {
        VariantInit(&items[given]);
        items[given].pdispVal = MakeItemObject(layer_.Item(position_), lease_).Detach();
        items[given].vt = VT_DISPATCH;
      }
    });
    if (fetched != nullptr) *fetched = given;
    if (FAILED(code)) return code;
    return given == count ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) noexcept override {
    std::size_t left = 0;
    const HRESULT code = Answer(this, IID_IEnumVARIANT, [&] {
      CheckLease(lease_);
      left = layer_.Count() - position_;
      position_ += std::min<std::size_t>(count, left);
    });
    if (FAILED(code)) return code;
    return count <= left ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Reset() noexcept override {
    position_ = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** copy) noexcept override {
    if (copy == nullptr) return E_POINTER;
    *copy = nullptr;
    return Answer(this, IID_IEnumVARIANT,
                  [&] { *copy = MakeObject<LayerEnumerator>(layer_, lease_, position_).Detach(); });
  }

 private:
  TokenLayer layer_;
  Lease lease_;
  std::size_t position_;
};

class TokenLayerObject final : public Object<TokenLayerObject, IKtTokenLayer> {
 public:
  static constexpr const GUID& kClassIdentifier = CLSID_TokenLayer;

  // `item` is what holds the layer, if another layer does.
  TokenLayerObject(const TokenLayer& layer, std::optional<LayerItem> item, Lease lease)
      : layer_(layer), item_(item), lease_(std::move(lease)) {
    if (IsTree()) AddShell(lease_->tree.get(), this);
  }
  ~TokenLayerObject() {
    if (IsTree()) RemoveShell(lease_->tree.get());
  }

  void* STDMETHODCALLTYPE Native(const std::type_info& type) noexcept override {
    if (lease_->ended) return nullptr;
    if (type == typeid(Tree)) return IsTree() ? const_cast<Tree*>(&lease_->tree) : nullptr;
    if (type == typeid(TokenLayer)) return &layer_;
    return type == typeid(LayerItem) && item_ ? &*item_ : nullptr;
  }

  HRESULT STDMETHODCALLTYPE get_Count(LONG* value) noexcept override {
    return Give(value, [&] { return static_cast<LONG>(Layer().Count()); });
  }
  HRESULT STDMETHODCALLTYPE get_Item(LONG index, IDispatch** value) noexcept override {
    return Give(value, [&] {
      const TokenLayer& layer = Layer();
      if (index < 1 || static_cast<std::size_t>(index) > layer.Count()) {
        ktformula::Raise(ktformula::RuntimeError::kInvalidIndex);
      }
      return MakeItemObject(layer.Item(static_cast<std::size_t>(index) - 1), lease_);
    });
  }
  HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** value) noexcept override {
    return Give(value,
                [&] { return MakeObject<LayerEnumerator>(Layer(), lease_, std::size_t{0}); });
  }

 private:
  const TokenLayer& Layer() const {
    CheckLease(lease_);
    return layer_;
  }
  // Whether this is all of a formula.
  bool IsTree() const noexcept { return !item_ && lease_->tree != nullptr; }

  TokenLayer layer_;
  std::optional<LayerItem> item_;
  Lease lease_;
  LentCount count_{lent_layer_counter, *lease_};
};

ComPtr<IDispatch> MakeItemObject(const LayerItem& item, const Lease& lease) {
  if (!item.IsLayer()) return MakeObject<FormulaTokenObject>(item, lease);
  return MakeObject<TokenLayerObject>(item.Layer(), item, lease);
}

template <typename T>
T* LivingArgument(IDispatch* object) {
  auto* const native = NativeOf<T>(object);
  if (native == nullptr) ktformula::Raise(ktformula::RuntimeError::kTypeMismatch);
  return native;
}

}  // namespace

ComPtr<IKtTokenLayer> ToTreeObject(const Tree& tree) {
  if (tree == nullptr) return nullptr;
  const ComPtr<IDispatch> known = FindShell(tree.get());
  if (known != nullptr) return static_cast<IKtTokenLayer*>(known.Get());
  return MakeObject<TokenLayerObject>(tree->Top(), std::nullopt,
                                      std::make_shared<const TokenLease>(TokenLease{tree}));
}

Tree TreeArgument(IDispatch* object) {
  return object == nullptr ? nullptr : *LivingArgument<Tree>(object);
}

ComPtr<IKtTokenLayer> MakeArgumentsObject(const TokenLayer* layer, Lease lease) {
  if (layer == nullptr) return nullptr;
  return MakeObject<TokenLayerObject>(*layer, std::nullopt, std::move(lease));
}

const TokenLayer* LayerArgument(IDispatch* object) {
  return object == nullptr ? nullptr : LivingArgument<TokenLayer>(object);
}

const LayerItem& ItemArgument(IDispatch* object) {
  if (object == nullptr) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
  return *LivingArgument<LayerItem>(object);
}

}  // namespace ktcom

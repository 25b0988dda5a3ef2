#include "functions/reference_walk.h"

#include <algorithm>
#include <vector>

#include "functions/function_base.h"

namespace ktformula {

namespace {

class ReferenceWalk {
 public:
  explicit ReferenceWalk(const std::function<void(const PlacedReference&)>& visit)
      : visit_(visit) {}

  void TakeLayer(const TokenLayer& layer, const Standpoint& at) {
    for (std::size_t i = 0; i < layer.Count(); ++i) {
      const LayerItem item = layer.Item(i);
      if (i > 0 && item.IsLayer() && IsName(layer.Item(i - 1))) {
        TakeArguments(layer.Item(i - 1), item.Layer(), at.anchor);
      } else {
        TakeItem(item, at);
      }
    }
  }

 private:
  static bool IsName(const LayerItem& item) {
    return !item.IsLayer() && (item.TokenType() == kFormulaTokenTypeFunction ||
                               item.TokenType() == kFormulaTokenTypeName);
  }

  // The argument that the function does not evaluate; as many as there are when it has none.
  static std::size_t NamedArgument(const LayerItem& name, std::size_t count) {
    if (name.TokenType() != kFormulaTokenTypeFunction) return count;
    const auto* const function = dynamic_cast<const FunctionBase*>(name.Function().get());
    if (function == nullptr || function->Row().arguments.named == kAnyNumber) return count;
    return std::min(function->Row().arguments.named, count - 1);
  }

  void TakeItem(const LayerItem& item, const Standpoint& at) {
    if (item.IsLayer()) {
      TakeLayer(item.Layer(), at);
    } else if (item.TokenType() == kFormulaTokenTypeReference) {
      visit_({item, at, false});
    }
  }

  void TakeArguments(const LayerItem& name, const TokenLayer& args, const Place& anchor) {
    const std::size_t count = args.Count();
    if (count == 0) return;
    const std::size_t named = NamedArgument(name, count);
    Standpoint at = Standpoint::At(anchor);
    if (named < count) at.anchor = RowsOf(args.Item(named), anchor);
    for (std::size_t i = 0; i < count; ++i) {
      const LayerItem argument = args.Item(i);
      if (i == named && AsReference(argument) != nullptr) {
        visit_({argument, Standpoint::At(anchor), true});
      } else {
        TakeItem(argument, at);
      }
    }
  }

  // The rows of the table that the argument names, or whose column it names.
  Place RowsOf(const LayerItem& argument, const Place& anchor) {
    const ReferencePath* const reference = AsReference(argument);
    if (reference == nullptr) return {};
    const Denoted denoted = Binder::Resolve(*reference, Standpoint::At(anchor));
    if (denoted.kind != Denoted::Kind::kObject) return {};
    const Ref<Table> table = TableOf(denoted.object.get());
    tables_.push_back(table);
    return {table.get(), ReferenceStart::kRow, ++last_run_, nullptr};
  }

  const std::function<void(const PlacedReference&)>& visit_;
  RowRun last_run_ = kCellRun;
  // Those of places, which are there as long as the walk.
  std::vector<Ref<Table>> tables_;
};

}  // namespace

void ForEachReference(const TokenTree& tree, const Place& place,
                      const std::function<void(const PlacedReference&)>& visit) {
  ReferenceWalk(visit).TakeLayer(tree.Top(), Standpoint::At(place));
}

}  // namespace ktformula

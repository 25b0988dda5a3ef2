#include "analysis/formula_parts.h"

#include <algorithm>

#include "functions/function_base.h"

namespace ktformula {

namespace {

// Calls `visit` with each layer of the tree. Layers nest deeply: those that are left stand in a
// vector.
template <typename Visit>
void ForEachLayer(const TokenTree& tree, Visit visit) {
  std::vector<TokenLayer> left{tree.Top()};
  while (!left.empty()) {
    const TokenLayer layer = left.back();
    left.pop_back();
    visit(layer);
    for (std::size_t i = 0; i < layer.Count(); ++i) {
      if (layer.Item(i).IsLayer()) left.push_back(layer.Item(i).Layer());
    }
  }
}

bool IsFunction(const LayerItem& item) {
  return !item.IsLayer() && item.TokenType() == kFormulaTokenTypeFunction;
}

FormulaCall CallAt(const TokenLayer& layer, std::size_t position) {
  const LayerItem function = layer.Item(position);
  const auto* const own = dynamic_cast<const FunctionBase*>(function.Function().get());
  FormulaCall call{function, own != nullptr ? &own->Row() : nullptr, {}};
  if (position + 1 == layer.Count() || !layer.Item(position + 1).IsLayer()) return call;
  const TokenLayer args = layer.Item(position + 1).Layer();
  for (std::size_t i = 0; i < args.Count(); ++i)
    call.args.push_back(args.Item(i));
  return call;
}

}  // namespace

std::vector<FormulaCall> CallsOf(const TokenTree& tree) {
  std::vector<FormulaCall> calls;
  ForEachLayer(tree, [&calls](const TokenLayer& layer) {
    for (std::size_t i = 0; i < layer.Count(); ++i) {
      if (IsFunction(layer.Item(i))) calls.push_back(CallAt(layer, i));
    }
  });
  std::sort(calls.begin(), calls.end(), [](const FormulaCall& left, const FormulaCall& right) {
    return left.function.Begin() < right.function.Begin();
  });
  return calls;
}

std::vector<std::u16string> ReferencesOf(const TokenTree& tree) {
  std::vector<std::u16string> references;
  ForEachLayer(tree, [&references](const TokenLayer& layer) {
    for (std::size_t i = 0; i < layer.Count(); ++i) {
      const LayerItem item = layer.Item(i);
      if (!item.IsLayer() && item.TokenType() == kFormulaTokenTypeReference) {
        references.push_back(item.Reference().text);
      }
    }
  });
  std::sort(references.begin(), references.end());
  references.erase(std::unique(references.begin(), references.end()), references.end());
  return references;
}

bool IsPure(const TokenTree& tree) {
  const std::vector<FormulaCall> calls = CallsOf(tree);
  return std::all_of(calls.begin(), calls.end(),
                     [](const FormulaCall& call) { return call.function.Function()->IsPure(); });
}

bool AlwaysReadsAll(const TokenTree& tree) {
  const std::vector<FormulaCall> calls = CallsOf(tree);
  return std::all_of(calls.begin(), calls.end(), [](const FormulaCall& call) {
    return call.IsAggregate() && call.args.size() == 1;
  });
}

}  // namespace ktformula

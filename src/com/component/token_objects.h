// Tokens and layers of a token tree as COM objects.
#pragma once

#include <memory>

#include "KtFormula9.h"

#include "com/base/object.h"
#include "formula/token_tree.h"

namespace ktcom {

// What keeps the tokens behind COM objects alive or, for those of a call under way, tells that the
// call has ended.
struct TokenLease {
  std::shared_ptr<const ktformula::TokenTree> tree;
  bool ended = false;
};

// The one layer that stands for a formula's tree; empty for nullptr.
ComPtr<IKtTokenLayer> ToTreeObject(const std::shared_ptr<const ktformula::TokenTree>& tree);
// The tree behind such a layer, empty for Nothing. Raises error 13 for anything else.
std::shared_ptr<const ktformula::TokenTree> TreeArgument(IDispatch* object);

// The argument layer of a call. It can be used until the lease ends, and raises error 91 from then
// on. Empty for nullptr.
ComPtr<IKtTokenLayer> MakeArgumentsObject(const ktformula::TokenLayer* layer,
                                          std::shared_ptr<const TokenLease> lease);

// The layer behind an argument, nullptr for Nothing. Raises error 13 for anything else.
const ktformula::TokenLayer* LayerArgument(IDispatch* object);

// The token or nested layer behind an argument. Raises errors 91 for Nothing and 13 for anything
// else, a formula's whole tree included.
const ktformula::LayerItem& ItemArgument(IDispatch* object);

}  // namespace ktcom

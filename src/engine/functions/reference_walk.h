// The references of a formula, and from where each of them starts.
#pragma once

#include <functional>

#include "formula/binding.h"
#include "formula/token_tree.h"

namespace ktformula {

// A reference at its place in a formula.
struct PlacedReference {
  LayerItem token;
  Standpoint at;
  // Whether it names a table or a column for a function, which asks no definition.
  bool is_named = false;
};

// Calls `visit` with every reference of the tree, which is evaluated at the place, also with those
// that evaluation would not come to. Where a table is named by something that is not found, the
// standpoint in its rows has no table. The tables of standpoints are the host's, held during the
// call.
void ForEachReference(const TokenTree& tree, const Place& place,
                      const std::function<void(const PlacedReference&)>& visit);

}  // namespace ktformula

// A walk over a formula that was read: which names mean nothing where they stand, what its parts
// come to as far as that can be said without computing them, and what is odd about it.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/finding.h"
#include "analysis/reach.h"
#include "analysis/sketch.h"

#include "formula/source_map.h"

namespace ktformula {

// What the formulas of one listener share.
struct FormulaSurroundings {
  const Reach& reach;
  // May be nullptr.
  UnitCatalogue* units;
  // The names of the definitions in reach.
  std::span<const std::u16string> definition_names;
  // What the definition of this name comes to; empty when there is none.
  std::function<std::optional<Sketch>(std::u16string_view name)> definition;
};

class FormulaWalk {
 public:
  // All are borrowed; findings are appended.
  FormulaWalk(const SourceMap& map, const FormulaSurroundings& around, Findings& findings)
      : map_(map), around_(around), findings_(findings) {}

  // What the whole formula comes to, evaluated at the spot.
  Sketch Run(const Spot& spot);

 private:
  // Where a part stands, and what becomes of its errors: "" when they show, else words such as
  // "ONERROR hides it".
  struct Surrounding {
    Standing at;
    std::u16string hidden;
  };

  Sketch OfLayer(const TokenLayer& layer, const Surrounding& in);
  Sketch OfTerm(const Term& term, const LayerItem& item, const Surrounding& in);
  Sketch OfBareTerm(const Term& term, const LayerItem& item, const Surrounding& in);
  Sketch OfArgument(const LayerItem& item, const Surrounding& in);
  Sketch OfReference(const LayerItem& item, const Surrounding& in);
  // What a reference means that stands for an object; tells when it means nothing.
  Meaning OfObject(const LayerItem& item, const Surrounding& in);
  void TakeStep(Sketch& left, const TextRange& left_place, const Step& step, const LayerItem& item,
                const Surrounding& in);
  void Operate(Sketch& left, const TextRange& left_place, const Step& step, const LayerItem& item,
               const Sketch& right);
  void Refuse(Refusal refusal, const LayerItem& item, const Surrounding& in);
  void RefuseName(const LayerItem& name, const Surrounding& in);
  // What stands behind that at which evaluation would stop.
  void WalkRest(const TokenLayer& layer, std::uint32_t last_item, const Surrounding& in);
  void WalkArguments(const TokenLayer& args, const Surrounding& in);

  Sketch OfCall(const LayerItem& function, const Surrounding& in);
  Sketch OfIf(const TokenLayer& args, const Surrounding& in);
  Sketch OfOnError(const TokenLayer& args, const Surrounding& in);
  Sketch OfSelect(const TokenLayer& args, const Surrounding& in);
  Sketch OfCount(const TokenLayer& args, const Surrounding& in);
  Sketch OfAggregate(const std::u16string& name, const TokenLayer& args, const Surrounding& in);
  void WalkCondition(const LayerItem& item, const Surrounding& in);
  // The rows of the table that the argument names, as seen from where the call stands.
  Surrounding RowsOf(const LayerItem& table, const Surrounding& in);

  TextRange PlaceOf(const Term& term, const LayerItem& item) const { return map_.Of(term, item); }
  void Tell(Finding finding);
  void TellName(const TextRange& place, NameAdvice advice);

  const SourceMap& map_;
  const FormulaSurroundings& around_;
  Findings& findings_;
  // Where the last leftover ends.
  std::size_t told_until_ = 0;
};

}  // namespace ktformula

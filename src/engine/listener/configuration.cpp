#include "listener/configuration.h"

#include <algorithm>
#include <list>
#include <unordered_map>
#include <unordered_set>

namespace ktformula {

namespace {

class OwnFormulaDictionary final : public FormulaDictionary {
 public:
  Formula Find(std::u16string_view key) const override {
    const auto found = places_.find(key);
    return found != places_.end() ? found->second->formula : nullptr;
  }
  std::vector<Entry> Entries() const override { return {entries_.begin(), entries_.end()}; }
  std::optional<std::uint64_t> Stamp() const override { return stamp_; }
  void Put(std::u16string_view key, Formula formula) override {
    Remove(key);
    ++stamp_;
    const auto added = entries_.insert(entries_.end(), {std::u16string(key), std::move(formula)});
    places_.emplace(added->key, added);
  }
  void Remove(std::u16string_view key) override {
    const auto found = places_.find(key);
    if (found == places_.end()) return;
    ++stamp_;
    const auto place = found->second;
    places_.erase(found);
    entries_.erase(place);
  }
  void Clear() override {
    ++stamp_;
    places_.clear();
    // What goes may call back.
    const std::list<Entry> gone = std::exchange(entries_, {});
  }

 private:
  std::uint64_t stamp_ = 0;
  std::list<Entry> entries_;
  // By the entries' own keys.
  std::unordered_map<std::u16string_view, std::list<Entry>::iterator> places_;
};

bool Holds(const PropertyFormula& entry, std::u16string_view formula, std::u16string_view format) {
  return entry.Formula == formula && entry.StringFormat == format;
}

}  // namespace

PropertyFormulas::PropertyFormulas() : formulas_(std::make_unique<OwnFormulaDictionary>()) {}

std::vector<FormulaText> PropertyFormulas::Texts() const {
  std::vector<FormulaText> texts;
  for (const auto& [key, formula] : Entries())
    texts.push_back({key, formula->Formula, formula->StringFormat});
  return texts;
}

bool PropertyFormulas::Put(std::u16string_view key, std::u16string_view formula,
                           std::u16string_view format) {
  const std::shared_ptr<PropertyFormula> known = Find(key);
  if (known != nullptr && Holds(*known, formula, format)) return false;
  formulas_->Put(key, std::make_shared<PropertyFormula>(formula, format));
  return true;
}

bool PropertyFormulas::PutOrRemove(std::u16string_view key, std::u16string_view formula,
                                   std::u16string_view format) {
  if (!formula.empty()) return Put(key, formula, format);
  const std::shared_ptr<PropertyFormula> known = Find(key);
  if (known == nullptr || Holds(*known, formula, format)) return false;
  formulas_->Remove(key);
  return true;
}

bool PropertyFormulas::PutAll(const std::vector<FormulaText>& formulas) {
  bool changes = false;
  std::unordered_set<std::u16string_view> kept;
  for (const FormulaText& one : formulas) {
    changes |= Put(one.key, one.formula, one.string_format);
    kept.insert(one.key);
  }
  for (const FormulaDictionary::Entry& entry : Entries()) {
    if (kept.contains(entry.key)) continue;
    formulas_->Remove(entry.key);
    changes = true;
  }
  return changes;
}

void PropertyFormulas::Replace(const std::vector<FormulaText>& formulas) {
  const std::vector<FormulaDictionary::Entry> known = Entries();
  formulas_->Clear();
  for (const FormulaText& one : formulas) {
    const auto same = std::find_if(known.begin(), known.end(), [&](const auto& entry) {
      return entry.key == one.key && Holds(*entry.formula, one.formula, one.string_format);
    });
    if (same != known.end()) {
      formulas_->Put(one.key, same->formula);
    } else {
      Put(one.key, one.formula, one.string_format);
    }
  }
}

}  // namespace ktformula

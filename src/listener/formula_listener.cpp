#include "listener/formula_listener.h"

#include <cmath>
#include <optional>
#include <unordered_map>
#include <utility>

#include "formats/default_formula_format.h"
#include "formats/display_pattern.h"
#include "listener/configuration_xml.h"
#include "listener/entered_values.h"
#include "listener/error_message_box.h"
#include "listener/frm_formula_listener.h"
#include "values/platform.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kErrorPrefix = u"#Error: ";
constexpr std::u16string_view kEditErrorTitle = u"Error Setting Field Listener Properties";

void WriteError(GridControl& grid, TableCell& cell, std::u16string_view description) {
  grid.WriteText(cell, std::u16string(kErrorPrefix) + std::u16string(description), false);
}

std::optional<FormulaEntry> EntryOf(const PropertyFormulas& formulas, std::u16string_view key) {
  const auto* known = formulas.Find(key);
  if (known == nullptr) return std::nullopt;
  return FormulaEntry{(*known)->Formula, (*known)->StringFormat};
}

// Counts the definitions under evaluation.
class NestingGuard {
 public:
  explicit NestingGuard(int& depth) : depth_(depth) {
    if (depth_ >= kMaximumDefinitionNesting) {
      Raise(u"FormulaListener.DefinedValue", u"the definitions are nested too deeply");
    }
    ++depth_;
  }
  NestingGuard(const NestingGuard&) = delete;
  NestingGuard& operator=(const NestingGuard&) = delete;
  ~NestingGuard() { --depth_; }

 private:
  int& depth_;
};

}  // namespace

// One recalculation of the watched table, or one evaluation in it: the definitions evaluated so
// far, and what writing results needs.
class FormulaListener::Pass {
 public:
  explicit Pass(FormulaListener& listener)
      : listener_(listener),
        keep_alive_(&listener),
        owner_(&listener.Owner()),
        framework_(&listener.Framework()),
        table_(owner_->WatchedField()->AsTable()),
        outer_(std::exchange(listener.pass_, this)) {}
  Pass(const Pass&) = delete;
  Pass& operator=(const Pass&) = delete;
  ~Pass() { listener_.pass_ = outer_; }

  void Recalculate(IKtFormulaFormat& format, Form& form) {
    const Ref<ControlHolder> holder = form.HolderOf(*owner_->WatchedField());
    if (!table_) return;
    const Ref<GridControl> grid = holder->Object();
    for (int c = 1; c <= table_->ColumnCount(); ++c) {
      RecalculateColumn(*table_->Column(c), format, *grid);
    }
  }

  void Evaluate(const TokenTree& tree, ELNProperty* property, NotebookObject* object,
                CellValue& target) {
    EvaluateTokenTreeLayer(target, tree.top, {property, object, object, &listener_});
  }

  const CellValue* DefinedValue(std::u16string_view name) {
    if (const auto found = definitions_.find(name); found != definitions_.end()) {
      return &found->second;
    }
    const auto* known = listener_.configuration_.definitions.Find(name);
    if (known == nullptr) return nullptr;
    const std::shared_ptr<PropertyFormula> formula = *known;
    CellValue& value = definitions_.try_emplace(std::u16string(name)).first->second;
    // Until it is known, the definition's value is what a reference to itself deserves.
    value.SetError(kComponentError, u"FormulaListener.DefinedValue",
                   u"the definition \"" + std::u16string(name) + u"\" refers to itself");
    CellValue result;
    try {
      const NestingGuard guard(definition_depth_);
      Evaluate(*listener_.TreeOf(*formula), nullptr, table_.get(), result);
    } catch (const RaisedError& error) {
      result.SetError(error.Number(), error.Source(), error.Description());
    }
    value = std::move(result);
    return &value;
  }

 private:
  void RecalculateColumn(const TableProperty& column, IKtFormulaFormat& format, GridControl& grid) {
    const Ref<ELNProperty> property = column.Property();
    const auto* known =
        listener_.configuration_.property_formulas.Find(ToDecimalText(property->Key()));
    if (known == nullptr || (*known)->Formula.empty()) return;
    // The host may change the configuration from within a call.
    const std::shared_ptr<PropertyFormula> formula = *known;
    const bool number_formatting = property->NumberFormatting();
    std::optional<ParsedFormula> parsed;
    for (int r = 1; r <= column.CellCount(); ++r) {
      const Ref<TableCell> cell = column.Cell(r);
      if (cell->StateText() == kEnteredState) continue;
      if (!parsed) parsed = Parse(*formula);
      CellValue value;
      if (const auto error = Compute(*parsed, *property, *cell, value)) {
        WriteError(grid, *cell, *error);
      } else if (number_formatting && WritesFormatted(value)) {
        WriteFormatted(value, *formula, *cell, format, grid);
      } else {
        WriteText(value, *cell, grid);
      }
      grid.FinishCell(*cell);
    }
  }

  // A formula's tree or, without one, why it could not be parsed: the same for all its cells.
  struct ParsedFormula {
    std::shared_ptr<const TokenTree> tree;
    std::u16string error;
  };

  ParsedFormula Parse(PropertyFormula& formula) const {
    try {
      return {listener_.TreeOf(formula), {}};
    } catch (const RaisedError& error) {
      return {nullptr, error.Description()};
    }
  }

  // Evaluates the formula for the cell; the description of an error that was raised.
  std::optional<std::u16string> Compute(const ParsedFormula& formula, ELNProperty& property,
                                        TableCell& cell, CellValue& value) {
    if (formula.tree == nullptr) return formula.error;
    try {
      Evaluate(*formula.tree, &property, &cell, value);
    } catch (const RaisedError& error) {
      return error.Description();
    }
    return std::nullopt;
  }

  static bool WritesFormatted(const CellValue& value) {
    return value.CellValueType() != kCellValueTypeError &&
           value.CellValueType() != kCellValueTypeString;
  }

  void WriteFormatted(const CellValue& value, const PropertyFormula& formula, TableCell& cell,
                      IKtFormulaFormat& format, GridControl& grid) {
    if (!std::isfinite(value.MinNumber())) {
      WriteError(grid, cell, DescriptionOf(RuntimeError::kOverflow));
      return;
    }
    if (!entered_) entered_ = ExamineEnteredValues(*owner_, *framework_->Units());
    try {
      format.SetGridCellValue(grid, cell, value.MinNumber(), formula.StringFormat,
                              entered_->ExaminedSigDig, entered_->ExaminedUnits);
    } catch (const RaisedError& error) {
      // A finite number need not be finite in the unit, or as the percentage, that is shown.
      if (error.Number() != static_cast<std::int32_t>(RuntimeError::kOverflow)) throw;
      WriteError(grid, cell, error.Description());
    }
  }

  static void WriteText(const CellValue& value, TableCell& cell, GridControl& grid) {
    switch (value.CellValueType()) {
      case kCellValueTypeError: WriteError(grid, cell, value.ErrorDescription()); return;
      case kCellValueTypeString:
        if (cell.MinNumber() != 0 || cell.MaxNumber() != 0) grid.ClearNumber(cell);
        grid.WriteText(cell, value.Text(), false);
        return;
      case kCellValueTypeStructure: grid.WriteText(cell, value.MvrStructure(), false); return;
      case kCellValueTypeNumber:
        if (std::isfinite(value.MinNumber())) {
          grid.WriteText(cell, NumberToText(value.MinNumber()), true);
        } else {
          WriteError(grid, cell, DescriptionOf(RuntimeError::kOverflow));
        }
        return;
      default: grid.WriteText(cell, value.Text(), true);
    }
  }

  FormulaListener& listener_;
  Ref<HostObject> keep_alive_;
  Ref<OwnerCollection> owner_;
  Ref<HostFramework> framework_;
  Ref<Table> table_;
  // Set last: when one of the host's calls above fails, the listener never hears of this pass.
  Pass* outer_;
  std::unordered_map<std::u16string, CellValue, TextHash, std::equal_to<>> definitions_;
  int definition_depth_ = 0;
  // Examined at most once, and only when a formatted number is written.
  std::optional<EnteredValues> entered_;
};

FormulaListener::FormulaListener(std::span<const FunctionClass> functions,
                                 std::unique_ptr<FunctionDictionary> dictionary)
    : FieldListener(u"FormulaListener"), function_classes_(functions) {
  if (dictionary != nullptr) registry_ = FunctionRegistry(std::move(dictionary));
}

void FormulaListener::OnInitialize() {
  registry_.RegisterAll(function_classes_, *this);
}

void FormulaListener::OnTerminate() {
  registry_.Terminate();
  configuration_ = {};
}

void FormulaListener::EditProperties() {
  // The host may end this listener while the dialog is shown.
  const Ref<IKtFieldListener> keep_alive(this);
  const Ref<HostFramework> framework(&Framework());
  // Outlives the message about an error, and unloads its form.
  std::optional<frmFormulaListener> dialog;
  try {
    Ref<DialogForm> form = framework->CreateDialogForm();
    if (!form) {
      framework->ShowMessage(OwnDescription() +
                             u" cannot be edited: this notebook has no windows for it");
      return;
    }
    dialog.emplace(std::move(form));
    dialog->Load(configuration_.property_formulas, configuration_.definitions,
                 *Owner().WatchedProperties());
    dialog->ShowModal();
    if (dialog->Changed()) framework->RequestSave(*this, u"Saving changes to " + Description(0));
  } catch (const RaisedError& error) {
    ShowErrorMessageBox(*framework, kEditErrorTitle, error);
  }
}

void FormulaListener::Recalculate(NotificationSource& source, HostObject*) {
  Pass pass(*this);
  const Ref<IKtFormulaFormat> format = CreateFormulaFormat();
  const Ref<Form> form = source.FormObject();
  pass.Recalculate(*format, *form);
}

void FormulaListener::EvaluateInCell(std::u16string_view formula, TableCell& cell,
                                     CellValue& target) {
  Pass pass(*this);
  pass.Evaluate(*MakeTokenTree(formula), cell.Property().get(), &cell, target);
}

std::u16string FormulaListener::SigDigFormat(double gNumberToFormat, std::int16_t NumSigDig,
                                             std::u16string_view IUnitString,
                                             const ELNProperty& Property) const {
  return DisplayPattern(gNumberToFormat, NumSigDig, IUnitString, Property, *Framework().Units());
}

const CellValue* FormulaListener::DefinedValue(std::u16string_view Name) {
  return pass_ != nullptr ? pass_->DefinedValue(Name) : nullptr;
}

std::shared_ptr<const TokenTree> FormulaListener::MakeTokenTree(std::u16string_view formula) const {
  return ktformula::MakeTokenTree(formula, registry_);
}

std::shared_ptr<const TokenTree> FormulaListener::TreeOf(PropertyFormula& formula) const {
  if (formula.TokenTree == nullptr) formula.TokenTree = MakeTokenTree(formula.Formula);
  return formula.TokenTree;
}

Ref<IKtFormulaFormat> FormulaListener::CreateFormulaFormat() const {
  Ref<IKtFieldListener> created;
  if (!result_format_.empty()) created = Framework().CreateListener(result_format_);
  if (dynamic_cast<IKtFormulaFormat*>(created.get()) == nullptr) {
    created = MakeRef<DefaultFormulaFormat>();
  }
  created->Initialize(Ref<HostFramework>(&Framework()), Ref<OwnerCollection>(&Owner()), Service());
  return Ref<IKtFormulaFormat>(dynamic_cast<IKtFormulaFormat*>(created.get()));
}

std::optional<FormulaEntry> FormulaListener::FormulaOf(std::int32_t property_key) const {
  return EntryOf(configuration_.property_formulas, ToDecimalText(property_key));
}

std::optional<FormulaEntry> FormulaListener::DefinitionOf(std::u16string_view name) const {
  return EntryOf(configuration_.definitions, name);
}

void FormulaListener::SetPropertyFormula(std::int32_t property_key, std::u16string_view formula,
                                         std::u16string_view string_format) {
  PutOrRemoveFormula(configuration_.property_formulas, ToDecimalText(property_key), formula,
                     string_format);
}

void FormulaListener::SetDefinition(std::u16string_view name, std::u16string_view formula) {
  PutOrRemoveFormula(configuration_.definitions, name, formula, u"");
}

void FormulaListener::WriteConfiguration(XmlElement& root, ColumnReference columns) const {
  ColumnNameOfKey name_of_key;
  if (columns == ColumnReference::kByName) {
    name_of_key = [this](std::u16string_view key) { return PropertyNameOfKey(key); };
  }
  WriteConfigurationXml(configuration_, root, name_of_key);
}

void FormulaListener::ReadConfiguration(XmlElement& root, ReadMode mode) {
  const FormulaConfiguration nothing;
  configuration_ =
      ReadConfigurationXml(root, mode == ReadMode::kUpdate ? configuration_ : nothing,
                           [this](std::u16string_view name) { return PropertyKeyOfName(name); });
}

std::u16string FormulaListener::PropertyKeyOfName(std::u16string_view name) const {
  const Ref<ELNProperty> property = Owner().WatchedProperties()->Find(name);
  if (!property) {
    Raise(u"FormulaListener.SetData", u"the property name \"" + std::u16string(name) +
                                          u"\" is not recognized in the " +
                                          Owner().WatchedField()->Description());
  }
  return ToDecimalText(property->Key());
}

std::u16string FormulaListener::PropertyNameOfKey(std::u16string_view key) const {
  const Ref<ELNProperties> properties = Owner().WatchedProperties();
  for (int i = 1; i <= properties->Count(); ++i) {
    const Ref<ELNProperty> property = properties->Item(i);
    if (ToDecimalText(property->Key()) == key) return property->Name();
  }
  Raise(u"FormulaListener.IKtObject_Export", u"the property key \"" + std::u16string(key) +
                                                 u"\" is not recognized in the " +
                                                 Owner().WatchedField()->Description());
}

}  // namespace ktformula

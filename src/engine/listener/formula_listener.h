// FormulaListener: keeps the formula columns of one table up to date.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "formats/formula_format.h"
#include "formula/evaluator.h"
#include "formula/function_registry.h"
#include "formula/reference.h"
#include "listener/column_plan.h"
#include "listener/configuration.h"
#include "listener/field_listener.h"
#include "listener/ikt_formula_listener.h"
#include "values/leak_check.h"

namespace ktformula {

class Pass;
class frmFormulaListener;

// Watches one table. On every table notification it computes each cell of each column that has a
// formula, except cells in the state "entered", and writes the result, or "#Error: " and the
// reason, through the table control. What fails in one cell never disturbs another and never
// reaches the host; what fails in the host's own calls does.
class FormulaListener final : public FieldListener,
                              public IKtFormulaListener,
                              public NamedValues,
                              private LeakCounted<FormulaListener> {
 public:
  static constexpr std::string_view kClassName = "FormulaListener";

  // `functions` are the function classes that Initialize creates; it outlives the listener. They
  // are kept in `registry`, formulas in `configuration`, whose tables may be the host's.
  explicit FormulaListener(std::span<const FunctionClass> functions, FunctionRegistry registry = {},
                           FormulaConfiguration configuration = {});
  ~FormulaListener() override {
    ending_ = true;
    Terminate();
  }

  std::u16string TypeName() const override { return u"FormulaListener"; }
  void TableNotification(NotificationSource& source, HostObject* detail) override {
    Recalculate(source, detail);
  }
  void EditProperties() override;

  // Brings the watched table up to date; the second argument is not used.
  void Recalculate(NotificationSource& source, HostObject* detail);

  // The pattern for `gNumberToFormat`, in base units, with `NumSigDig` significant digits, in the
  // named unit or, when the name is empty, the property's default unit; "%" asks for a percentage.
  std::u16string SigDigFormat(double gNumberToFormat, std::int16_t NumSigDig,
                              std::u16string_view IUnitString, const ELNProperty& Property) const;

  // The value of the definition, evaluated once for each pass, in which it is always the same
  // object. What the definition raises, or its referring to itself, makes it an error value.
  // Outside a pass it is evaluated anew each time, and for no table.
  std::shared_ptr<CellValue> DefinedValue(std::u16string_view Name) override;
  Ref<HostObject> KeepAlive() override { return ending_ ? nullptr : Object(); }

  // Parses a formula; see formula/token_tree.h for what it raises.
  std::shared_ptr<const TokenTree> MakeTokenTree(std::u16string_view formula) const;

  // The function of this name in any letter case; raises kComponentError for an unknown name.
  std::shared_ptr<IKtFormulaFunction> FormulaFunction(std::u16string_view Name) const {
    return registry_.FormulaFunction(Name);
  }
  const FunctionRegistry& FormulaFunctions() const noexcept { return registry_; }
  // Adds a function of the host's, until Terminate, under an upper-case name. Raises error 457 when
  // the name is taken.
  void AddFunction(std::u16string_view key, std::shared_ptr<IKtFormulaFunction> function) {
    function->Initialize(*this);
    registry_.Register(key, std::move(function));
  }

  const FormulaConfiguration& Configuration() const noexcept { return configuration_; }

  std::optional<FormulaEntry> FormulaOf(std::int32_t property_key) const override;
  std::optional<FormulaEntry> DefinitionOf(std::u16string_view name) const override;
  std::vector<FormulaText> ColumnFormulas() const override {
    return configuration_.property_formulas.Texts();
  }
  std::vector<FormulaText> Definitions() const override {
    return configuration_.definitions.Texts();
  }
  // An unchanged formula and format keep the parsed formula.
  void SetPropertyFormula(std::int32_t property_key, std::u16string_view formula,
                          std::u16string_view string_format) override;
  void SetDefinition(std::u16string_view name, std::u16string_view formula) override;
  void ReplaceFormulas(const std::vector<FormulaText>& formulas,
                       const std::vector<FormulaText>& definitions) override {
    configuration_.property_formulas.Replace(formulas);
    configuration_.definitions.Replace(definitions);
  }
  std::u16string ResultFormat() const override { return result_format_; }
  void SetResultFormat(std::u16string_view program_identifier) override {
    result_format_ = program_identifier;
    plans_.Forget();
  }
  void EvaluateInCell(std::u16string_view formula, TableCell& cell, CellValue& target) override;

  // Evaluates a tree as the formula of a cell, and raises what it raises.
  using EvaluateTree = std::function<void(const TokenTree& tree, TableCell& cell, CellValue&)>;
  // Lets `work` evaluate any number of trees, and ask for definitions, within one pass, which is
  // given nothing that was kept before.
  void InOnePass(const std::function<void(const EvaluateTree&)>& work);

  // What the formula of a column of the watched table reads, definitions included; unknown where
  // the host does not promise what references denote.
  Reads ReadsOf(const TableProperty& column);

  // Writes a value into a cell of a column with a formula as a pass does, through `grid`.
  void ShowInCell(const CellValue& value, TableCell& cell, GridControl& grid) const;
  // What shows its numbers.
  Ref<IKtFormulaFormat> CreateFormulaFormat() const;

 private:
  class PassUnderWay;

  void ShowDialog(std::optional<frmFormulaListener>& dialog);
  void OnInitialize() override;
  void OnTerminate() override;
  void WriteConfiguration(XmlElement& root, ColumnReference columns) const override;
  void ReadConfiguration(XmlElement& root, ReadMode mode) override;

  std::u16string PropertyKeyOfName(std::u16string_view name) const;
  std::u16string PropertyNameOfKey(std::u16string_view key) const;

  std::span<const FunctionClass> function_classes_;
  FunctionRegistry registry_;
  FormulaConfiguration configuration_;
  Plans plans_{configuration_, registry_};
  std::u16string result_format_;
  // Nothing keeps a listener from then on, not even a function that its host calls meanwhile.
  bool ending_ = false;
  // The pass under way; passes nest when the host notifies from within one.
  Pass* pass_ = nullptr;
};

}  // namespace ktformula

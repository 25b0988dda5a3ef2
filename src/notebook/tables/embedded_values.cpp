#include "notebook/tables/embedded_values.h"

#include <cmath>
#include <exception>
#include <utility>
#include <vector>

#include "formula/binding.h"
#include "formula/evaluator.h"
#include "notebook/tables/shown_text.h"
#include "notebook/tables/utf8.h"
#include "values/number_text.h"
#include "values/text.h"

namespace ktnotebook {

using ktformula::CellValue;
using ktformula::RaisedError;
using ktformula9::Error;
using ktformula9::Function;
using ktformula9::Value;

namespace {

std::u16string CountText(std::size_t count) {
  return ktformula::ToDecimalText(static_cast<std::int64_t>(count));
}

// Puts what the function gave into the value of the formula.
void Take(const Value& value, std::u16string_view source, CellValue& target) {
  const std::u16string text = FromStoredUtf8(value.Text());
  switch (value.What()) {
    case Value::Kind::kNothing: target.InitializeFromELNProperty(nullptr); break;
    case Value::Kind::kNumber:
      if (std::isnan(value.Min()) || std::isnan(value.Max())) {
        target.SetMissingNumber(text.empty() ? u"nan" : text);
      } else if (value.Min() > value.Max()) {
        ktformula::Raise(source, u"the lower bound of a range is above the upper one");
      } else if (std::isfinite(value.Min()) && std::isfinite(value.Max())) {
        target.SetNumber(value.Min(), value.Max());
      } else {
        ktformula::Raise(ktformula::RuntimeError::kOverflow);
      }
      break;
    case Value::Kind::kText: target.SetString(text); break;
    case Value::Kind::kBoolean: target.SetBoolean(value.Boolean()); break;
    case Value::Kind::kStructure: target.SetMvrStructure(text); break;
    case Value::Kind::kError: target.SetError(ktformula::kComponentError, source, text); break;
    case Value::Kind::kDate: ktformula::Raise(source, u"a function can not give a date");
  }
}

class EmbeddedFunction final : public ktformula::IKtFormulaFunction {
 public:
  explicit EmbeddedFunction(std::shared_ptr<const Function> function)
      : function_(std::move(function)), name_(FromStoredUtf8(function_->name)) {}

  void Initialize(ktformula::NamedValues& listener) override { listener_ = &listener; }
  void Terminate() override { listener_ = nullptr; }
  bool IsPure() const noexcept override { return function_->is_pure; }

  ktformula::Bound Bind(ktformula::Binder& binder, const ktformula::TokenLayer& args,
                        const ktformula::Place& anchor, unsigned run) const override {
    if (!function_->is_pure) return IKtFormulaFunction::Bind(binder, args, anchor, run);
    ktformula::Bound bound;
    for (std::size_t i = 0; i < args.Count(); ++i) {
      const auto at = ktformula::Standpoint::At(anchor);
      bound.reads.Add(binder.BindArgument(args.Item(i), at, run).reads);
    }
    return bound;
  }

  void ComputeValue(const ktformula::TokenLayer* args, ktformula::NotebookObject* anchor,
                    CellValue& target) override {
    const std::size_t count = args != nullptr ? args->Count() : 0;
    RequireCount(count);
    std::vector<Value> values;
    for (std::size_t i = 0; i < count; ++i) {
      const CellValue argument = Evaluate(args->Item(i), anchor);
      if (!function_->takes_errors && IsFailure(argument)) {
        Fail(argument, target);
        return;
      }
      values.push_back(ToValue(argument));
    }
    Take(Call(values), Source(), target);
  }

 private:
  std::u16string Source() const { return name_ + u"Function.ComputeValue"; }

  void RequireCount(std::size_t count) const {
    if (count >= function_->least && count <= function_->most) return;
    const std::u16string least = CountText(function_->least);
    std::u16string taken = least;
    if (function_->most == ktformula9::kAnyNumber) {
      taken += u" or more";
    } else if (function_->most != function_->least) {
      taken += u" to " + CountText(function_->most);
    }
    ktformula::Raise(Source(), u"the number of arguments for " + name_ + u" function (" +
                                   CountText(count) + u") is not " + taken);
  }

  CellValue Evaluate(const ktformula::LayerItem& item, ktformula::NotebookObject* anchor) const {
    const auto keep_alive = listener_ != nullptr ? listener_->KeepAlive() : nullptr;
    CellValue value;
    try {
      ktformula::EvaluateArgument(value, item, {nullptr, anchor, anchor, listener_});
    } catch (const RaisedError& error) {
      if (!function_->takes_errors) throw;
      value.SetError(error.Number(), error.Source(), error.Description());
    }
    return value;
  }

  static bool IsFailure(const CellValue& value) {
    return value.CellValueType() == ktformula::kCellValueTypeError || value.IsMissingNumber();
  }

  void Fail(const CellValue& argument, CellValue& target) const {
    if (argument.IsMissingNumber()) {
      target.SetMissingNumber(argument.Text());
      ktformula::Raise(Source(), argument.MissingNumberDescription());
    }
    target.SetError(argument.ErrorNumber(), argument.ErrorSource(), argument.ErrorDescription());
  }

  // Whatever the function throws becomes an error of the formula.
  Value Call(const std::vector<Value>& values) const {
    const ktformula::ForeignCall foreign;
    try {
      return function_->compute(values);
    } catch (const std::exception& error) {
      ktformula::Raise(Source(), FromStoredUtf8(error.what()));
    } catch (...) {
      ktformula::Raise(Source(), u"the function " + name_ + u" has failed");
    }
  }

  std::shared_ptr<const Function> function_;
  std::u16string name_;
  ktformula::NamedValues* listener_ = nullptr;
};

}  // namespace

void Refuse(Error::Kind kind, std::string_view argument, std::u16string_view message) {
  throw Error(kind, std::string(argument), ToUtf8(message));
}

std::u16string TextOfArgument(std::string_view text, std::string_view argument) {
  std::optional<std::u16string> read = FromUtf8(text);
  if (!read) {
    throw Error(Error::Kind::kArgument, std::string(argument),
                std::string(argument) + " is not valid UTF-8");
  }
  return std::move(*read);
}

Value ToValue(const CellValue& value) {
  switch (value.CellValueType()) {
    case ktformula::kCellValueTypeNumber:
      if (value.IsMissingNumber()) return Value::OfMissingNumber(ToUtf8(value.Text()));
      return Value::OfRange(value.MinNumber(), value.MaxNumber(), ToUtf8(ValueText(value)));
    case ktformula::kCellValueTypeString: return Value::OfText(ToUtf8(value.Text()));
    case ktformula::kCellValueTypeBoolean:
      return Value::OfBoolean(value.BooleanValue(), ToUtf8(ValueText(value)));
    case ktformula::kCellValueTypeDate:
      return Value::OfDate(value.MinDate(), ToUtf8(ValueText(value)));
    case ktformula::kCellValueTypeStructure:
      return Value::OfStructure(ToUtf8(value.MvrStructure()));
    case ktformula::kCellValueTypeError: return Value::OfError(ToUtf8(value.ErrorDescription()));
    default: return {};
  }
}

Value ToValue(const RaisedError& error) {
  return Value::OfError(ToUtf8(error.Description()));
}

std::shared_ptr<ktformula::IKtFormulaFunction> MakeFunction(
    std::shared_ptr<const Function> function) {
  return std::make_shared<EmbeddedFunction>(std::move(function));
}

}  // namespace ktnotebook

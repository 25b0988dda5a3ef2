// Values for C, and functions that C gives.
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "notebook/c_interface/call.h"
#include "notebook/c_interface/results.h"

namespace ktnotebook {

using ktformula9::Value;

namespace {

static_assert(static_cast<int>(Value::Kind::kNothing) == KTF9_VALUE_NOTHING);
static_assert(static_cast<int>(Value::Kind::kNumber) == KTF9_VALUE_NUMBER);
static_assert(static_cast<int>(Value::Kind::kText) == KTF9_VALUE_TEXT);
static_assert(static_cast<int>(Value::Kind::kBoolean) == KTF9_VALUE_BOOLEAN);
static_assert(static_cast<int>(Value::Kind::kDate) == KTF9_VALUE_DATE);
static_assert(static_cast<int>(Value::Kind::kStructure) == KTF9_VALUE_STRUCTURE);
static_assert(static_cast<int>(Value::Kind::kError) == KTF9_VALUE_ERROR);
static_assert(ktformula9::kAnyNumber == KTF9_ANY_NUMBER);

struct ValueObject final : HandleObject {
  static constexpr const char* kKind = "a value";
  enum class Role { kOwned, kArgument, kResult };

  ValueObject(Value of, Role in) : value(std::move(of)), role(in) {}

  Value value;
  const Role role;
};

std::shared_ptr<ValueObject> NeedResult(ktf9_value* value) {
  auto own = Need<ValueObject>(value, "value");
  if (own->role != ValueObject::Role::kResult)
    throw CallFailure(KTF9_REFUSED, "value", "value is not the result of a function");
  return own;
}

// What the program gave with a function, which lets it go.
class Context {
 public:
  explicit Context(const ktf9_function& function)
      : context_(function.context), destroy_(function.destroy) {}
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  ~Context() {
    if (is_kept_ && destroy_ != nullptr) destroy_(context_);
  }

  void* Get() const noexcept { return context_; }
  void Keep() noexcept { is_kept_ = true; }

 private:
  void* context_;
  void (*destroy_)(void*);
  bool is_kept_ = false;
};

// Of a function that does not tell why.
struct UntoldFailure {};

Value Compute(ktf9_compute compute, void* context, std::span<const Value> arguments) {
  std::vector<PassingHandle<ktf9_value>> handles;
  std::vector<const ktf9_value*> given;
  for (const Value& argument : arguments) {
    handles.emplace_back(std::make_shared<ValueObject>(argument, ValueObject::Role::kArgument));
    given.push_back(handles.back().Get());
  }
  const auto result = std::make_shared<ValueObject>(Value(), ValueObject::Role::kResult);
  const PassingHandle<ktf9_value> target(result);
  const ktf9_status status = compute(context, given.data(), given.size(), target.Get());
  if (status != KTF9_DONE && result->value.What() != Value::Kind::kError) throw UntoldFailure();
  return result->value;
}

}  // namespace

void GiveValue(Value value, ktf9_value*& place) {
  Give(std::make_shared<ValueObject>(std::move(value), ValueObject::Role::kOwned), place);
}

void ShowValue(const Value& value, ktf9_value_view& view) {
  view.kind = static_cast<ktf9_value_kind>(value.What());
  view.min = value.Min();
  view.max = value.Max();
  view.boolean = value.Boolean() ? 1 : 0;
  view.text = ViewOf(value.Text());
}

void AddFunction(ktformula9::Notebook& notebook, const ktf9_function& function) {
  ktformula9::Function own;
  own.name = NeedText(function.name, "name");
  own.least = function.least;
  own.most = function.most;
  own.help = function.help != nullptr ? NeedUtf8(function.help, "help") : "";
  own.takes_errors = function.takes_errors != 0;
  own.is_pure = function.is_pure != 0;
  if (function.compute == nullptr) throw CallFailure(KTF9_ARGUMENT, "compute", "compute is NULL");
  const auto context = std::make_shared<Context>(function);
  own.compute = [context, compute = function.compute](std::span<const Value> arguments) {
    return Compute(compute, context->Get(), arguments);
  };
  notebook.AddFunction(std::move(own));
  context->Keep();
}

}  // namespace ktnotebook

using namespace ktnotebook;

ktf9_status ktf9_value_get(const ktf9_value* value, ktf9_value_view* view, ktf9_error** error) {
  return Call(error, [&] {
    const auto own = Need<ValueObject>(value, "value");
    ShowValue(own->value, NeedStruct(view, "view"));
  });
}

ktf9_status ktf9_value_destroy(ktf9_value* value, ktf9_error** error) {
  return Call(error, [&] {
    if (value != nullptr && Need<ValueObject>(value, "value")->role != ValueObject::Role::kOwned)
      throw CallFailure(KTF9_REFUSED, "value", "value belongs to the call of a function");
    Destroy<ValueObject>(value, "value");
  });
}

ktf9_status ktf9_value_set_nothing(ktf9_value* value, ktf9_error** error) {
  return Call(error, [&] { NeedResult(value)->value = Value(); });
}

ktf9_status ktf9_value_set_number(ktf9_value* value, double number, ktf9_error** error) {
  return Call(error, [&] { NeedResult(value)->value = Value::OfNumber(number); });
}

ktf9_status ktf9_value_set_range(ktf9_value* value, double min, double max, ktf9_error** error) {
  return Call(error, [&] { NeedResult(value)->value = Value::OfRange(min, max); });
}

ktf9_status ktf9_value_set_missing(ktf9_value* value, const char* why, ktf9_error** error) {
  return Call(error,
              [&] { NeedResult(value)->value = Value::OfMissingNumber(NeedUtf8(why, "why")); });
}

ktf9_status ktf9_value_set_text(ktf9_value* value, const char* text, ktf9_error** error) {
  return Call(error, [&] { NeedResult(value)->value = Value::OfText(NeedUtf8(text, "text")); });
}

ktf9_status ktf9_value_set_boolean(ktf9_value* value, int boolean, ktf9_error** error) {
  return Call(error, [&] { NeedResult(value)->value = Value::OfBoolean(boolean != 0); });
}

ktf9_status ktf9_value_set_structure(ktf9_value* value, const char* mvr, ktf9_error** error) {
  return Call(error, [&] { NeedResult(value)->value = Value::OfStructure(NeedUtf8(mvr, "mvr")); });
}

ktf9_status ktf9_value_set_error(ktf9_value* value, const char* message, ktf9_error** error) {
  return Call(error,
              [&] { NeedResult(value)->value = Value::OfError(NeedUtf8(message, "message")); });
}

// A formula function that does what a test tells it, and counts its calls.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "formula/function_registry.h"
#include "formula/token_tree.h"
#include "values/cell_value.h"
#include "values/leak_check.h"

namespace ktformula {

class FakeFunction : public IKtFormulaFunction, private LeakCounted<FakeFunction> {
 public:
  static constexpr std::string_view kClassName = "FakeFunction";
  using Body =
      std::function<void(const TokenLayer* args, NotebookObject* anchor, CellValue& target)>;

  explicit FakeFunction(
      Body body = [](auto&&...) {}, std::function<void()> on_terminate = [] {})
      : body_(std::move(body)), on_terminate_(std::move(on_terminate)) {}

  NamedValues* listener = nullptr;

  void Initialize(NamedValues& owner) override { listener = &owner; }
  void ComputeValue(const TokenLayer* args, NotebookObject* anchor, CellValue& target) override {
    body_(args, anchor, target);
  }
  void Terminate() override { on_terminate_(); }

 private:
  Body body_;
  std::function<void()> on_terminate_;
};

}  // namespace ktformula

// IKtFormulaFunction: what a function of the formula language implements.
#pragma once

namespace ktformula {

class Binder;
class CellValue;
class NamedValues;
class NotebookObject;
class TokenLayer;
struct Bound;
struct Place;

// One object of each function class serves all formulas of a listener, one call at a time, and
// keeps nothing from one call to the next.
class IKtFormulaFunction {
 public:
  virtual ~IKtFormulaFunction() = default;

  // Called once, right after creation. The listener outlives the function's last call.
  virtual void Initialize(NamedValues& listener) = 0;

  // Computes the function into `TargetCellValue`, which may become an error value; may raise.
  // `args` has one item for each argument, unevaluated; it is nullptr when the function's name
  // stands without parentheses. `anchor` is the object that the call's references start
  // from: the cell that is computed, or a row; may be nullptr.
  virtual void ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                            CellValue& TargetCellValue) = 0;

  // Whether the value follows from the arguments and the notebook's data alone and computing it
  // changes nothing. So it is with the language's own functions; of a host's nothing is known.
  virtual bool IsPure() const noexcept { return false; }

  // What a call with these arguments reads, and how it is computed for many rows of `run`, a
  // RowRun, at once, if it can be; `anchor` is where its references start. Of a host's functions
  // nothing is known.
  virtual Bound Bind(Binder& binder, const TokenLayer& args, const Place& anchor,
                     unsigned run) const;

  // Called once, when the listener shuts down.
  virtual void Terminate() = 0;
};

}  // namespace ktformula

// References: texts that name notebook data, and the named values that come before it.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/notebook_objects.h"
#include "host/ref.h"

namespace ktformula {

class CellValue;

// The named values that formulas can refer to; a FormulaListener's definitions.
class NamedValues {
 public:
  // The value of this name, empty when there is none; the same object as long as it is kept.
  virtual std::shared_ptr<CellValue> DefinedValue(std::u16string_view Name) = 0;
  // Whoever evaluates holds this, so that the values outlive what hosts do meanwhile; may be empty.
  virtual Ref<HostObject> KeepAlive() { return nullptr; }

 protected:
  ~NamedValues() = default;
};

// A reference text, taken apart once: parts separated by ":", each without surrounding blanks, a
// leading "this" removed. "parent" stays among the parts.
struct ReferencePath {
  explicit ReferencePath(std::u16string_view reference_text);

  std::u16string text;
  bool starts_with_this = false;
  bool starts_with_parent = false;
  std::vector<std::u16string> parts;
};

// Two objects decide what a reference means: the anchor, from which it starts, and what "this"
// stands for. Either may be nullptr.

// The object that the reference denotes. An unknown name makes `value` an error value and gives an
// empty answer.
Ref<NotebookObject> ResolveReference(CellValue& value, const ReferencePath& reference,
                                     NotebookObject* anchor, NotebookObject* this_object);

// Takes the value of what the reference denotes into `value`; the listener's named values, if there
// is one, come first. Raises kComponentError for an object that has no value here.
void ReferenceValue(CellValue& value, const ReferencePath& reference, NotebookObject* anchor,
                    NotebookObject* this_object, NamedValues* listener);

}  // namespace ktformula

// The result formats as COM classes.
#pragma once

#include "com/component/listener_faces.h"
#include "formats/formula_format.h"

namespace ktcom {

// What a dictionary from cell keys to unit names holds; nothing for Nothing.
ktformula::ExaminedUnitsMap ToExaminedUnits(IDispatch* dictionary);

template <typename Format, const GUID& ClassIdentifier>
class FormatObject final
    : public ListenerFaces<FormatObject<Format, ClassIdentifier>, IKtFormulaFormat, Format> {
 public:
  static constexpr const GUID& kClassIdentifier = ClassIdentifier;

  FormatObject()
      : ListenerFaces<FormatObject, IKtFormulaFormat, Format>(ktformula::MakeRef<Format>()) {}

  HRESULT STDMETHODCALLTYPE SetGridCellValue(IDispatch* GridCtl, IDispatch* gc, double Value,
                                             BSTR format, SHORT ExaminedSigDig,
                                             IDispatch* ExaminedUnits) noexcept override {
    return this->Answer([&] {
      this->Engine().SetGridCellValue(*AdaptRequired<ForeignGridControl>(GridCtl),
                                      *AdaptRequired<ForeignTableCell>(gc), Value, View(format),
                                      ExaminedSigDig, ToExaminedUnits(ExaminedUnits));
    });
  }
};

}  // namespace ktcom

// An object as a script makes it: known by its members' names alone.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "com/base/counted.h"
#include "com/base/text.h"
#include "com/base/variant.h"

namespace ktcom {

class ScriptObject final : public PlainObject<ScriptObject, IDispatch> {
 public:
  using Arguments = std::vector<Variant>;
  using Members = std::vector<std::pair<std::u16string, std::function<void(const Arguments&)>>>;

  static ComPtr<IDispatch> Make(Members members) { return new ScriptObject(std::move(members)); }

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept override {
    *count = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** information) noexcept override {
    *information = nullptr;
    return DISP_E_BADINDEX;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID,
                                          DISPID* members) noexcept override {
    for (std::size_t i = 0; i < members_.size(); ++i) {
      if (members_[i].first != Narrow(names[0])) continue;
      members[0] = static_cast<DISPID>(i);
      return S_OK;
    }
    return DISP_E_UNKNOWNNAME;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS* parameters,
                                   VARIANT*, EXCEPINFO*, UINT*) noexcept override {
    Arguments arguments;
    for (UINT i = parameters->cArgs; i > 0; --i)
      arguments.emplace_back(parameters->rgvarg[i - 1]);
    members_[static_cast<std::size_t>(member)].second(arguments);
    return S_OK;
  }

 private:
  explicit ScriptObject(Members members) : members_(std::move(members)) {}

  Members members_;
};

}  // namespace ktcom

// The component as clients and hosts in C++ meet it: its vtables, its objects' identity and life,
// hostile hosts, XML, registration and the stack that it needs.
//
//   client_test DLL
//
// The DLL is registered.
#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <latch>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// clang-format off
#include <windows.h>
#include <activscp.h>
#include <ocidl.h>
#include <psapi.h>
#include <wrl/client.h>
#include <msxml2.h>
#include <initguid.h>
#include "KtFramework9.h"
#include "KtStandard9.h"
#include "KtFormula9.h"
// clang-format on

namespace {

using Microsoft::WRL::ComPtr;

std::wstring dll_path;

template <typename Function>
Function Exported(const char* name) {
  static const HMODULE module = LoadLibraryW(dll_path.c_str());
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}
bool CanUnload() {
  return Exported<HRESULT(STDAPICALLTYPE*)()>("DllCanUnloadNow")() == S_OK;
}
std::wstring LivingObjects() {
  BSTR report = nullptr;
  Exported<HRESULT(STDAPICALLTYPE*)(BSTR*)>("KtLeakCheckReport")(&report);
  std::wstring text(report, SysStringLen(report));
  SysFreeString(report);
  return text;
}

class Text {
 public:
  Text() = default;
  Text(const wchar_t* text) : text_(SysAllocString(text)) {}
  Text(const std::wstring& text) : Text(text.c_str()) {}
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  ~Text() { SysFreeString(text_); }

  operator BSTR() const { return text_; }
  BSTR* operator&() {
    SysFreeString(std::exchange(text_, nullptr));
    return &text_;
  }
  std::wstring Get() const { return std::wstring(text_, SysStringLen(text_)); }

 private:
  BSTR text_ = nullptr;
};

// "" for success, else the code with source and description of the error object.
std::wstring Outcome(HRESULT code) {
  if (SUCCEEDED(code)) return L"";
  wchar_t digits[9];
  swprintf(digits, 9, L"%08X", static_cast<unsigned>(code));
  ComPtr<IErrorInfo> information;
  Text source;
  Text description;
  if (GetErrorInfo(0, information.GetAddressOf()) != S_OK) return digits;
  information->GetSource(&source);
  information->GetDescription(&description);
  return std::wstring(digits) + L" " + source.Get() + L": " + description.Get();
}

template <typename Interface>
ComPtr<Interface> Create(REFCLSID class_id) {
  ComPtr<Interface> object;
  EXPECT_EQ(CoCreateInstance(class_id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface),
                             reinterpret_cast<void**>(object.GetAddressOf())),
            S_OK);
  return object;
}
template <typename Interface>
ComPtr<Interface> As(IUnknown* object) {
  ComPtr<Interface> face;
  EXPECT_EQ(
      object->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(face.GetAddressOf())),
      S_OK);
  return face;
}

VARIANT ObjectVariant(IDispatch* object) {
  VARIANT value;
  value.vt = VT_DISPATCH;
  value.pdispVal = object;
  return value;
}
VARIANT TextVariant(BSTR text) {
  VARIANT value;
  value.vt = VT_BSTR;
  value.bstrVal = text;
  return value;
}
VARIANT NumberVariant(LONG number) {
  VARIANT value;
  value.vt = VT_I4;
  value.lVal = number;
  return value;
}
void AddEntry(IDispatch& dictionary, const VARIANT& key, const VARIANT& item) {
  DISPID add = 0;
  LPOLESTR member = const_cast<LPOLESTR>(L"Add");
  ASSERT_EQ(dictionary.GetIDsOfNames(GUID_NULL, &member, 1, 0, &add), S_OK);
  VARIANT arguments[2] = {item, key};
  DISPPARAMS parameters{arguments, nullptr, 2, 0};
  EXPECT_EQ(
      dictionary.Invoke(add, GUID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr),
      S_OK);
}

// A host

template <typename Object>
HRESULT Hand(Object** target, Object* object) {
  if (object != nullptr) object->AddRef();
  *target = object;
  return S_OK;
}
HRESULT Hand(BSTR* target, const std::wstring& text) {
  *target = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  return S_OK;
}
template <typename Value>
HRESULT Hand(Value* target, Value value) {
  *target = value;
  return S_OK;
}

// A host's object. Tests own it, and see in its count whether the component still holds it.
template <typename Interface>
class Fake : public Interface, public ISupportErrorInfo {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID identifier, void** object) override {
    bool known = IsEqualGUID(identifier, IID_IUnknown) || IsEqualGUID(identifier, IID_IDispatch) ||
                 IsEqualGUID(identifier, __uuidof(Interface));
    if constexpr (std::is_base_of_v<IKtNotebookObject, Interface>) {
      known = known || IsEqualGUID(identifier, __uuidof(IKtNotebookObject));
    }
    *object = known ? static_cast<Interface*>(this) : nullptr;
    if (IsEqualGUID(identifier, IID_ISupportErrorInfo)) {
      *object = static_cast<ISupportErrorInfo*>(this);
    }
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }
  ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--references); }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                   UINT*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID) override { return S_OK; }

  int references = 0;
};

// Resolves no references.
template <typename Interface, KtNotebookObjectKindEnum kKind>
class FakeNotebookObject : public Fake<Interface> {
 public:
  HRESULT STDMETHODCALLTYPE get_Kind(KtNotebookObjectKindEnum* value) override {
    return Hand(value, kKind);
  }
  HRESULT STDMETHODCALLTYPE get_TypeName(BSTR* value) override { return Hand(value, L"Fake"); }
  HRESULT STDMETHODCALLTYPE get_ResolvesRelativeReferences(VARIANT_BOOL* value) override {
    return Hand(value, VARIANT_FALSE);
  }
  HRESULT STDMETHODCALLTYPE ResolveRelative(BSTR, IDispatch** object) override {
    return Hand<IDispatch>(object, nullptr);
  }
  HRESULT STDMETHODCALLTYPE get_Scope(IKtPropertyScope** value) override {
    return Hand<IKtPropertyScope>(value, nullptr);
  }
};

struct FakeProperty final : Fake<IKtELNProperty> {
  HRESULT STDMETHODCALLTYPE get_Key(long* value) override { return Hand(value, 11L); }
  HRESULT STDMETHODCALLTYPE get_Name(BSTR* value) override { return Hand(value, L"Yield"); }
  HRESULT STDMETHODCALLTYPE get_IsNumeric(VARIANT_BOOL* value) override {
    return Hand(value, VARIANT_TRUE);
  }
  HRESULT STDMETHODCALLTYPE get_DataTypeName(BSTR* value) override {
    return Hand(value, L"number");
  }
  HRESULT STDMETHODCALLTYPE get_HasUnits(VARIANT_BOOL* value) override {
    return Hand(value, VARIANT_FALSE);
  }
  HRESULT STDMETHODCALLTYPE get_DefaultUnit(IKtUnit** value) override {
    return Hand<IKtUnit>(value, nullptr);
  }
  HRESULT STDMETHODCALLTYPE get_NumberFormatting(VARIANT_BOOL* value) override {
    return Hand(value, VARIANT_FALSE);
  }
};

// The properties of the one field, of which there is one.
struct FakeProperties final : Fake<IKtELNProperties> {
  explicit FakeProperties(FakeProperty& the_property) : property(the_property) {}
  HRESULT STDMETHODCALLTYPE get_Count(long* value) override { return Hand(value, 1L); }
  HRESULT STDMETHODCALLTYPE get_Item(long, IKtELNProperty** value) override {
    return Hand<IKtELNProperty>(value, &property);
  }
  HRESULT STDMETHODCALLTYPE Find(BSTR name, IKtELNProperty** value) override {
    const bool known = std::wstring(name) == L"Yield";
    return Hand<IKtELNProperty>(value, known ? &property : nullptr);
  }
  FakeProperty& property;
};

struct FakeCell final : FakeNotebookObject<IKtTableCell, kNotebookObjectKindTableCell> {
  explicit FakeCell(FakeProperty& the_property) : property(the_property) {}
  HRESULT STDMETHODCALLTYPE get_ELNProperty(IKtELNProperty** value) override {
    return Hand<IKtELNProperty>(value, &property);
  }
  HRESULT STDMETHODCALLTYPE get_Row(IKtTableRow**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_Text(BSTR* value) override { return Hand(value, text); }
  HRESULT STDMETHODCALLTYPE get_MinNumber(double* value) override { return Hand(value, 0.0); }
  HRESULT STDMETHODCALLTYPE get_MaxNumber(double* value) override { return Hand(value, 0.0); }
  HRESULT STDMETHODCALLTYPE get_StructureText(BSTR* value) override { return Hand(value, L""); }
  HRESULT STDMETHODCALLTYPE get_StateText(BSTR* value) override { return Hand(value, L""); }
  HRESULT STDMETHODCALLTYPE get_Tag(BSTR* value) override { return Hand(value, L""); }
  HRESULT STDMETHODCALLTYPE get_Key(BSTR* value) override { return Hand(value, L""); }
  HRESULT STDMETHODCALLTYPE get_UnitName(BSTR* value) override { return Hand(value, L""); }
  FakeProperty& property;
  std::wstring text;
};

struct FakeTable;
struct FakeColumn final : FakeNotebookObject<IKtTableProperty, kNotebookObjectKindTableProperty> {
  explicit FakeColumn(FakeProperty& the_property) : property(the_property) {
    for (int i = 0; i < 2; ++i)
      cells.emplace_back(property);
  }
  HRESULT STDMETHODCALLTYPE get_Table(IKtTable**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_ELNProperty(IKtELNProperty** value) override {
    return Hand<IKtELNProperty>(value, &property);
  }
  HRESULT STDMETHODCALLTYPE get_CellCount(long* value) override {
    return Hand(value, static_cast<long>(cells.size()));
  }
  HRESULT STDMETHODCALLTYPE Cell(long index, IKtTableCell** cell) override {
    return Hand<IKtTableCell>(cell, &cells.at(static_cast<std::size_t>(index) - 1));
  }
  FakeProperty& property;
  std::deque<FakeCell> cells;
};

struct FakeTable final : FakeNotebookObject<IKtTable, kNotebookObjectKindTable> {
  explicit FakeTable(FakeColumn& the_column) : column(the_column) {}
  HRESULT STDMETHODCALLTYPE get_ColumnCount(long* value) override { return Hand(value, 1L); }
  HRESULT STDMETHODCALLTYPE Column(long, IKtTableProperty** value) override {
    return Hand<IKtTableProperty>(value, &column);
  }
  HRESULT STDMETHODCALLTYPE get_RowCount(long* value) override { return Hand(value, 0L); }
  HRESULT STDMETHODCALLTYPE Row(long, IKtTableRow**) override { return E_NOTIMPL; }
  FakeColumn& column;
};

struct FakeField final : Fake<IKtField> {
  explicit FakeField(FakeTable& the_table) : table(the_table) {}
  HRESULT STDMETHODCALLTYPE get_Key(long* value) override { return Hand(value, 5L); }
  HRESULT STDMETHODCALLTYPE get_Description(BSTR* value) override {
    return Hand(value, L"table Products");
  }
  HRESULT STDMETHODCALLTYPE get_Table(IKtTable** value) override {
    return Hand<IKtTable>(value, &table);
  }
  FakeTable& table;
};

struct FakeOwner final : Fake<IKtOwnerCollection> {
  FakeOwner(FakeField& the_field, FakeProperties& the_properties)
      : field(the_field), properties(the_properties) {}
  HRESULT STDMETHODCALLTYPE get_Count(long* value) override { return Hand(value, 1L); }
  HRESULT STDMETHODCALLTYPE get_Item(long, IKtField** value) override {
    return Hand<IKtField>(value, &field);
  }
  HRESULT STDMETHODCALLTYPE get_WatchedField(IKtField** value) override {
    return Hand<IKtField>(value, &field);
  }
  HRESULT STDMETHODCALLTYPE get_WatchedProperties(IKtELNProperties** value) override {
    return Hand<IKtELNProperties>(value, &properties);
  }
  HRESULT STDMETHODCALLTYPE Description(long, BSTR* text) override {
    return Hand(text, L"the section");
  }
  FakeField& field;
  FakeProperties& properties;
};

// Does what it was told to do before it writes for the first time.
struct FakeGrid final : Fake<IKtGridControl> {
  HRESULT STDMETHODCALLTYPE WriteText(IDispatch* cell, BSTR text, VARIANT_BOOL) override {
    if (const auto deed = std::exchange(mischief, nullptr)) {
      if (const HRESULT code = deed(); FAILED(code)) return code;
    }
    static_cast<FakeCell*>(static_cast<IKtTableCell*>(cell))->text = text;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE ClearNumber(IDispatch*) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE SetValue(IDispatch*, double, BSTR, BSTR) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE FinishCell(IDispatch*) override { return S_OK; }
  std::function<HRESULT()> mischief;
};

struct FakeHolder final : Fake<IKtControlHolder> {
  FakeHolder(FakeProperties& the_properties, FakeGrid& the_grid)
      : properties(the_properties), grid(the_grid) {}
  HRESULT STDMETHODCALLTYPE get_ELNProperties(IKtELNProperties** value) override {
    return Hand<IKtELNProperties>(value, &properties);
  }
  HRESULT STDMETHODCALLTYPE get_Object(IKtGridControl** value) override {
    return Hand<IKtGridControl>(value, &grid);
  }
  FakeProperties& properties;
  FakeGrid& grid;
};

struct FakeForm final : FakeNotebookObject<IKtForm, kNotebookObjectKindOther> {
  explicit FakeForm(FakeHolder& the_holder) : holder(the_holder) {}
  HRESULT STDMETHODCALLTYPE HolderOf(IDispatch*, IKtControlHolder** value) override {
    return Hand<IKtControlHolder>(value, &holder);
  }
  FakeHolder& holder;
};

struct FakeSource final : Fake<IKtNotificationSource> {
  explicit FakeSource(FakeForm& the_form) : form(the_form) {}
  HRESULT STDMETHODCALLTYPE get_FormObject(IKtForm** value) override {
    return Hand<IKtForm>(value, &form);
  }
  FakeForm& form;
};

struct FakeUnits final : Fake<IKtUnitCatalogue> {
  HRESULT STDMETHODCALLTYPE Find(BSTR, IKtUnit** unit) override {
    return Hand<IKtUnit>(unit, nullptr);
  }
};

struct FakeFramework final : Fake<IKtFramework> {
  HRESULT STDMETHODCALLTYPE get_Units(IDispatch** value) override {
    return Hand<IDispatch>(value, &units);
  }
  HRESULT STDMETHODCALLTYPE CreateObject(BSTR, IDispatch** object) override {
    return Hand<IDispatch>(object, nullptr);
  }
  HRESULT STDMETHODCALLTYPE get_Database(IDispatch**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_Configuration(IDispatch**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE RequestSave(IDispatch*, BSTR) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE get_ApplicationPath(BSTR*) override { return E_NOTIMPL; }
  FakeUnits units;
};

// A form with one table of one column and two rows.
struct Host {
  FakeProperty property;
  FakeProperties properties{property};
  FakeColumn column{property};
  FakeTable table{column};
  FakeField field{table};
  FakeOwner owner{field, properties};
  FakeGrid grid;
  FakeHolder holder{properties, grid};
  FakeForm form{holder};
  FakeSource source{form};
  FakeFramework framework;

  ComPtr<IKtFormulaListener> Listener(const wchar_t* formula) {
    const auto listener = Create<IKtFormulaListener>(CLSID_FormulaListener);
    EXPECT_EQ(As<IKtFieldListener>(listener.Get())->Initialize(&framework, &owner, nullptr), S_OK);
    EXPECT_EQ(listener->SetPropertyFormula(11, Text(formula), Text(L"")), S_OK);
    return listener;
  }
  std::wstring Texts() {
    return std::exchange(column.cells[0].text, L"") + L"|" +
           std::exchange(column.cells[1].text, L"");
  }
  // What the component still holds of this host.
  int References() const {
    return property.references + properties.references + column.references + table.references +
           field.references + owner.references + grid.references + holder.references +
           form.references + source.references + framework.references + framework.units.references +
           column.cells[0].references + column.cells[1].references;
  }
};

HRESULT Fail(HRESULT code, const wchar_t* source, const wchar_t* description) {
  ComPtr<ICreateErrorInfo> creation;
  CreateErrorInfo(creation.GetAddressOf());
  creation->SetSource(const_cast<LPOLESTR>(source));
  creation->SetDescription(const_cast<LPOLESTR>(description));
  SetErrorInfo(0, As<IErrorInfo>(creation.Get()).Get());
  return code;
}

// Interfaces

struct Slots {
  IID identifier;
  int library;
  // A "=" marks a property's setter, a "=&" one that takes an object.
  const wchar_t* members;
};
const Slots kSlots[] = {
    {IID_IKtFieldListener, 2,
     L" Initialize Create RequestSave Terminate EditProperties ConfigurationObject Object Key Key= "
     L"Name Name= ProgramIdentifier ProgramIdentifier= Position Position= Notification16 "
     L"Notification17 Notification18 Notification19 Notification20 TableNotification"},
    {IID_IKtObject, 2,
     L" Object Description Save Export ReferenceElement ResolveType ResolveObject FindObject "
     L"Refresh Attach Request Inform Execute"},
    {IID_IKtConfigurationObject, 2, L" ConfigurationObject Store MarkStored"},
    {IID_IKtFormulaFunction, 1, L" Initialize ComputeValue Terminate"},
    {IID_IKtFormulaFormat, 1, L" SetGridCellValue"},
    {IID_IKtPropertyFormula, 1, L" Formula StringFormat TokenTree"},
    {IID_IKtPropertyFormula2, 1,
     L" Formula Formula= StringFormat StringFormat= TokenTree TokenTree= TokenTree=&"},
    {IID_IKtCellValue, 1,
     L" CellValueType Text MinNumber MaxNumber MinDate MaxDate MvrStructure BooleanValue IsBoolean "
     L"ELNProperty ErrorDescription ErrorNumber ErrorSource InitializeFromGridCell "
     L"InitializeFromChemicalStructure InitializeFromELNProperty Duplicate Add Subtract Multiply "
     L"Divide Modulus Equals NotEquals BooleanAnd BooleanOr BooleanXOr GreaterThan LessThan "
     L"GreaterThanEquals LessThanEquals Concatenate SetNumber SetString SetError SetBoolean "
     L"SetMvrStructure ResolveReference ReferenceValue"},
};

// The interface's own members by their places in the vtable.
std::wstring MembersInSlotOrder(ITypeInfo& dispatch) {
  // Behind a dual interface's dispatch half stands its vtable half.
  HREFTYPE reference = 0;
  ComPtr<ITypeInfo> vtable;
  EXPECT_EQ(dispatch.GetRefTypeOfImplType(static_cast<UINT>(-1), &reference), S_OK);
  EXPECT_EQ(dispatch.GetRefTypeInfo(reference, vtable.GetAddressOf()), S_OK);
  constexpr int kOfIDispatch = 7;
  std::vector<std::wstring> names;
  for (UINT i = 0;; ++i) {
    FUNCDESC* function = nullptr;
    if (FAILED(vtable->GetFuncDesc(i, &function))) break;
    const auto slot = static_cast<std::size_t>(function->oVft) / sizeof(void*);
    Text name;
    vtable->GetDocumentation(function->memid, &name, nullptr, nullptr, nullptr);
    names.resize(std::max(names.size(), slot - kOfIDispatch + 1), L"?");
    names[slot - kOfIDispatch] = name.Get() + (function->invkind == INVOKE_PROPERTYPUT      ? L"="
                                               : function->invkind == INVOKE_PROPERTYPUTREF ? L"=&"
                                                                                            : L"");
    vtable->ReleaseFuncDesc(function);
  }
  std::wstring list;
  for (const std::wstring& name : names)
    list += L" " + name;
  return list;
}

TEST(Interfaces, HaveTheirMembersInOrder) {
  for (const Slots& row : kSlots) {
    ComPtr<ITypeLib> library;
    ComPtr<ITypeInfo> information;
    ASSERT_EQ(LoadTypeLibEx((dll_path + L"\\" + std::to_wstring(row.library)).c_str(), REGKIND_NONE,
                            library.GetAddressOf()),
              S_OK);
    ASSERT_EQ(library->GetTypeInfoOfGuid(row.identifier, information.GetAddressOf()), S_OK);
    EXPECT_EQ(MembersInSlotOrder(*information.Get()), row.members);
  }
}

// Slots count from 1 behind those of IDispatch.
template <typename... Parameters>
HRESULT CallSlot(IUnknown* face, int slot, Parameters... parameters) {
  using Member = HRESULT(STDMETHODCALLTYPE*)(IUnknown*, Parameters...);
  return reinterpret_cast<Member>((*reinterpret_cast<void***>(face))[6 + slot])(face,
                                                                                parameters...);
}

TEST(Interfaces, AnswerInTheirSlots) {
  Host host;
  const auto listener = Create<IKtFieldListener>(CLSID_FormulaListener);
  const auto object = As<IKtObject>(listener.Get());
  EXPECT_EQ(CallSlot(listener.Get(), 1, static_cast<IDispatch*>(&host.framework),
                     static_cast<IDispatch*>(&host.owner), static_cast<IDispatch*>(nullptr)),
            S_OK);
  EXPECT_EQ(CallSlot(listener.Get(), 9, 70000L), S_OK);
  EXPECT_EQ(CallSlot(listener.Get(), 11, static_cast<BSTR>(Text(L"name"))), S_OK);
  EXPECT_EQ(CallSlot(listener.Get(), 13, static_cast<BSTR>(Text(L"identifier"))), S_OK);
  EXPECT_EQ(CallSlot(listener.Get(), 15, SHORT{-3}), S_OK);
  long key = 0;
  short position = 0;
  Text name;
  Text identifier;
  Text description;
  listener->get_Key(&key);
  listener->get_Position(&position);
  listener->get_Name(&name);
  listener->get_ProgramIdentifier(&identifier);
  EXPECT_EQ(CallSlot(object.Get(), 2, 0L, &description), S_OK);
  EXPECT_EQ(std::to_wstring(key) + L" " + std::to_wstring(position) + L" " + name.Get() + L" " +
                identifier.Get() + L" " + description.Get(),
            L"70000 -3 name identifier Field Listener \"name\" of the section");
  EXPECT_EQ(CallSlot(listener.Get(), 21, static_cast<IDispatch*>(&host.source),
                     static_cast<IDispatch*>(nullptr)),
            S_OK);
  EXPECT_EQ(CallSlot(object.Get(), 12, 1L, static_cast<BSTR>(Text(L""))), S_OK);
  EXPECT_EQ(CallSlot(listener.Get(), 4), S_OK);
  EXPECT_EQ(host.References(), 0);
}

// Objects

struct ClassRow {
  CLSID identifier;
  const wchar_t* name;
  std::vector<IID> faces;
};
const std::vector<IID> kListenerFaces{IID_IKtFieldListener, IID_IKtObject,
                                      IID_IKtConfigurationObject, IID_IKtListenerData};
std::vector<IID> With(IID own) {
  std::vector<IID> faces = kListenerFaces;
  faces.insert(faces.begin(), own);
  return faces;
}
std::vector<ClassRow> Classes() {
  std::vector<ClassRow> rows{
      {CLSID_CellValue, L"CellValue", {IID_IKtCellValue}},
      {CLSID_FormulaListener, L"FormulaListener", With(IID_IKtFormulaListener)},
      {CLSID_PropertyFormula,
       L"PropertyFormula",
       {IID_IKtPropertyFormula2, IID_IKtPropertyFormula}},
      {CLSID_DefaultFormulaFormat, L"DefaultFormulaFormat", With(IID_IKtFormulaFormat)},
      {CLSID_MinDigitFormulaFormat, L"MinDigitFormulaFormat", With(IID_IKtFormulaFormat)},
  };
  const std::pair<CLSID, const wchar_t*> functions[] = {
      {CLSID_CountFunction, L"CountFunction"},   {CLSID_IfFunction, L"IfFunction"},
      {CLSID_MaxFunction, L"MaxFunction"},       {CLSID_IsEnteredFunction, L"IsEnteredFunction"},
      {CLSID_MinFunction, L"MinFunction"},       {CLSID_OnErrorFunction, L"OnErrorFunction"},
      {CLSID_SelectFunction, L"SelectFunction"}, {CLSID_RowTagFunction, L"RowTagFunction"},
      {CLSID_SumFunction, L"SumFunction"},       {CLSID_TagFunction, L"TagFunction"}};
  for (const auto& [identifier, name] : functions)
    rows.push_back({identifier, name, {IID_IKtFormulaFunction}});
  return rows;
}

std::wstring NameOf(ITypeInfo& information) {
  Text name;
  information.GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr);
  return name.Get();
}
std::wstring ClassNameOf(IUnknown* object) {
  ComPtr<ITypeInfo> information;
  EXPECT_EQ(As<IProvideClassInfo>(object)->GetClassInfo(information.GetAddressOf()), S_OK);
  return NameOf(*information.Get());
}

TEST(Objects, AreOneObjectByAllTheirFaces) {
  for (const ClassRow& row : Classes()) {
    SCOPED_TRACE(row.name);
    const auto object = Create<IUnknown>(row.identifier);
    EXPECT_EQ(ClassNameOf(object.Get()), row.name);
    std::vector<IID> faces = row.faces;
    for (const IID& more :
         {IID_IUnknown, IID_IDispatch, IID_ISupportErrorInfo, IID_IProvideClassInfo})
      faces.push_back(more);
    for (const IID& from : faces) {
      ComPtr<IUnknown> face;
      ASSERT_EQ(object->QueryInterface(from, reinterpret_cast<void**>(face.GetAddressOf())), S_OK);
      for (const IID& to : faces) {
        ComPtr<IUnknown> other;
        EXPECT_EQ(face->QueryInterface(to, reinterpret_cast<void**>(other.GetAddressOf())), S_OK);
        EXPECT_EQ(As<IUnknown>(other.Get()).Get(), object.Get());
      }
      void* none = this;
      EXPECT_EQ(face->QueryInterface(IID_IKtGridControl, &none), E_NOINTERFACE);
      EXPECT_EQ(none, nullptr);
      EXPECT_EQ(face->QueryInterface(from, nullptr), E_POINTER);
    }
    for (const IID& face : row.faces) {
      EXPECT_EQ(As<ISupportErrorInfo>(object.Get())->InterfaceSupportsErrorInfo(face), S_OK);
    }
    EXPECT_EQ(As<ISupportErrorInfo>(object.Get())->InterfaceSupportsErrorInfo(IID_IKtGridControl),
              S_FALSE);
    ComPtr<ITypeInfo> information;
    const auto dispatch = As<IDispatch>(object.Get());
    ASSERT_EQ(dispatch->GetTypeInfo(0, 0, information.GetAddressOf()), S_OK);
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(information->GetTypeAttr(&attributes), S_OK);
    EXPECT_TRUE(IsEqualGUID(attributes->guid, row.faces[0]));
    information->ReleaseTypeAttr(attributes);
    EXPECT_EQ(dispatch->GetTypeInfo(1, 0, information.ReleaseAndGetAddressOf()), DISP_E_BADINDEX);
  }
}

TEST(Objects, AreTheSameByMethodsAndProperties) {
  Host host;
  const auto listener = host.Listener(L"1");
  const auto identity = As<IUnknown>(listener.Get());
  ComPtr<IDispatch> given;
  const auto expect_itself = [&](HRESULT code) {
    EXPECT_EQ(code, S_OK);
    EXPECT_EQ(As<IUnknown>(given.Get()).Get(), identity.Get());
  };
  expect_itself(As<IKtFieldListener>(listener.Get())->Object(given.GetAddressOf()));
  expect_itself(As<IKtObject>(listener.Get())->Object(given.ReleaseAndGetAddressOf()));
  expect_itself(
      As<IKtFieldListener>(listener.Get())->ConfigurationObject(given.ReleaseAndGetAddressOf()));
  expect_itself(As<IKtConfigurationObject>(listener.Get())
                    ->ConfigurationObject(given.ReleaseAndGetAddressOf()));

  // The function of a token, asked for by name and found in the dictionary is one object.
  ComPtr<IKtTokenLayer> tree;
  ComPtr<IDispatch> item;
  ComPtr<IDispatch> function;
  ASSERT_EQ(listener->MakeTokenTree(Text(L"Sum(1)"), tree.GetAddressOf()), S_OK);
  ASSERT_EQ(tree->get_Item(1, item.GetAddressOf()), S_OK);
  ASSERT_EQ(listener->FormulaFunction(Text(L"sum"), function.GetAddressOf()), S_OK);
  EXPECT_EQ(As<IKtFormulaToken>(item.Get())->get_TokenFunction(given.ReleaseAndGetAddressOf()),
            S_OK);
  EXPECT_EQ(given.Get(), function.Get());
  EXPECT_EQ(ClassNameOf(function.Get()), L"SumFunction");
  EXPECT_EQ(ClassNameOf(item.Get()), L"FormulaToken");
  EXPECT_EQ(ClassNameOf(tree.Get()), L"TokenLayer");

  // Trees outlive their listener, and nothing outlives its module.
  given = nullptr;
  function = nullptr;
  As<IKtFieldListener>(listener.Get())->Terminate();
  FormulaTokenTypeEnum type{};
  EXPECT_EQ(As<IKtFormulaToken>(item.Get())->get_TokenType(&type), S_OK);
  EXPECT_EQ(type, kFormulaTokenTypeFunction);
  EXPECT_FALSE(CanUnload());
}

TEST(Objects, RefuseToAnswerNowhere) {
  Host host;
  const auto value = Create<IKtCellValue>(CLSID_CellValue);
  const auto listener = host.Listener(L"1");
  const auto field_listener = As<IKtFieldListener>(listener.Get());
  const auto object = As<IKtObject>(listener.Get());
  ComPtr<IKtTokenLayer> tree;
  ASSERT_EQ(listener->MakeTokenTree(Text(L"1"), tree.GetAddressOf()), S_OK);
  const HRESULT codes[] = {
      value->get_CellValueType(nullptr),
      value->get_Text(nullptr),
      value->get_MinNumber(nullptr),
      value->get_BooleanValue(nullptr),
      value->get_ELNProperty(nullptr),
      value->Duplicate(nullptr),
      value->ResolveReference(Text(L"this"), nullptr, nullptr, nullptr),
      value->GetTypeInfoCount(nullptr),
      value->GetTypeInfo(0, 0, nullptr),
      listener->SigDigFormat(1, 1, Text(L""), &host.property, nullptr),
      listener->DefinedValue(Text(L"x"), nullptr),
      listener->MakeTokenTree(Text(L"1"), nullptr),
      listener->FormulaFunction(Text(L"SUM"), nullptr),
      listener->get_FormulaFunctions(nullptr),
      listener->get_PropertyFormulas(nullptr),
      field_listener->Object(nullptr),
      field_listener->ConfigurationObject(nullptr),
      field_listener->get_Key(nullptr),
      field_listener->get_Name(nullptr),
      object->Object(nullptr),
      object->Description(0, nullptr),
      object->ReferenceElement(nullptr, nullptr),
      object->FindObject(nullptr, nullptr, nullptr, nullptr),
      object->Request(0, nullptr, nullptr, nullptr),
      object->Execute(nullptr, nullptr, nullptr),
      tree->get_Count(nullptr),
      tree->get_Item(1, nullptr),
      tree->get__NewEnum(nullptr),
      As<IProvideClassInfo>(value.Get())->GetClassInfo(nullptr),
  };
  for (std::size_t i = 0; i < std::size(codes); ++i)
    EXPECT_EQ(codes[i], E_POINTER) << i;

  // Nothing in the place of a text or an object.
  EXPECT_EQ(value->SetString(nullptr), S_OK);
  EXPECT_EQ(Outcome(value->InitializeFromGridCell(nullptr)),
            L"800A005B KtFormula9: Object variable not set");
  EXPECT_EQ(Outcome(listener->Recalculate(nullptr, nullptr)),
            L"800A005B KtFormula9: Object variable not set");
  EXPECT_EQ(Outcome(object->Export(nullptr, nullptr)),
            L"800A005B KtFormula9: Object variable not set");
  EXPECT_EQ(Outcome(object->Export(static_cast<IKtField*>(&host.field), nullptr)),
            L"800A000D KtFormula9: Type mismatch");
}

TEST(Objects, GiveOthersItemsOfALayer) {
  Host host;
  ComPtr<IKtTokenLayer> tree;
  ComPtr<IUnknown> made;
  ComPtr<IEnumVARIANT> copy;
  ASSERT_EQ(host.Listener(L"1")->MakeTokenTree(Text(L"1+2"), tree.GetAddressOf()), S_OK);
  ASSERT_EQ(tree->get__NewEnum(made.GetAddressOf()), S_OK);
  const auto items = As<IEnumVARIANT>(made.Get());
  VARIANT taken[5];
  ULONG count = 0;
  EXPECT_EQ(items->Skip(1), S_OK);
  EXPECT_EQ(items->Clone(copy.GetAddressOf()), S_OK);
  EXPECT_EQ(items->Next(5, taken, &count), S_FALSE);
  EXPECT_EQ(count, 2U);
  EXPECT_EQ(ClassNameOf(taken[1].pdispVal), L"FormulaToken");
  for (ULONG i = 0; i < count; ++i)
    VariantClear(&taken[i]);
  EXPECT_EQ(items->Skip(1), S_FALSE);
  EXPECT_EQ(copy->Next(1, taken, nullptr), S_OK);
  VariantClear(taken);
  EXPECT_EQ(items->Reset(), S_OK);
  EXPECT_EQ(items->Skip(3), S_OK);
}

// The server

using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);

TEST(Server, MakesItsClassesAlone) {
  const auto get = Exported<GetClassObject>("DllGetClassObject");
  ComPtr<IClassFactory> factory;
  void* none = this;
  EXPECT_EQ(get(IID_IKtCellValue, IID_IClassFactory, &none), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(get(CLSID_TokenLayer, IID_IClassFactory, &none), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(get(CLSID_CellValue, IID_IKtCellValue, &none), E_NOINTERFACE);
  EXPECT_EQ(get(CLSID_CellValue, IID_IClassFactory, nullptr), E_POINTER);
  ASSERT_EQ(
      get(CLSID_CellValue, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())),
      S_OK);
  EXPECT_EQ(factory->CreateInstance(factory.Get(), IID_IUnknown, &none), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IKtObject, &none), E_NOINTERFACE);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
}

TEST(Server, StaysWhileItIsNeeded) {
  EXPECT_TRUE(CanUnload());
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(CoGetClassObject(CLSID_SumFunction, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                             reinterpret_cast<void**>(factory.GetAddressOf())),
            S_OK);
  EXPECT_FALSE(CanUnload());
  factory->LockServer(TRUE);
  factory = nullptr;
  EXPECT_FALSE(CanUnload());
  ASSERT_EQ(CoGetClassObject(CLSID_SumFunction, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                             reinterpret_cast<void**>(factory.GetAddressOf())),
            S_OK);
  factory->LockServer(FALSE);
  factory = nullptr;
  EXPECT_TRUE(CanUnload());
  auto value = Create<IKtCellValue>(CLSID_CellValue);
  EXPECT_FALSE(CanUnload());
  EXPECT_EQ(LivingObjects(), L"KtFormula9.CellValue: 1\n");
  value = nullptr;
  EXPECT_TRUE(CanUnload());
  EXPECT_EQ(LivingObjects(), L"");
}

struct Use {
  SIZE_T bytes;
  DWORD handles;
};
Use MemoryAndHandles() {
  PROCESS_MEMORY_COUNTERS counters{};
  Use use{};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
  GetProcessHandleCount(GetCurrentProcess(), &use.handles);
  // The bytes that are the process's own.
  use.bytes = counters.PagefileUsage;
  return use;
}

TEST(Server, LeavesNothingBehind) {
  const auto round = [] {
    Host host;
    auto listener = host.Listener(L"IF(1 = 2, 'a', SUM([x])) + [d]");
    listener->SetDefinition(Text(L"d"), Text(L"'a' * 1"));
    listener->Recalculate(&host.source, nullptr);
    const auto value = Create<IKtCellValue>(CLSID_CellValue);
    ComPtr<IKtCellValue> copy;
    ComPtr<IDispatch> formulas;
    value->SetString(Text(L"text"));
    value->Duplicate(copy.GetAddressOf());
    value->Concatenate(ObjectVariant(value.Get()));
    value->Add(ObjectVariant(value.Get()));
    listener->get_PropertyFormulas(formulas.GetAddressOf());
    listener = nullptr;
    ASSERT_EQ(host.References(), 0);
    ASSERT_EQ(host.Texts().substr(0, 8), L"#Error: ");
  };
  for (int i = 0; i < 1000; ++i)
    round();
  const Use before = MemoryAndHandles();
  for (int i = 0; i < 10000; ++i)
    round();
  const Use after = MemoryAndHandles();
  std::cout << "10000 rounds: " << before.bytes << " to " << after.bytes << " bytes\n";
  EXPECT_GT(before.bytes, 0U);
  EXPECT_LT(after.bytes, before.bytes + 500000);
  EXPECT_LE(after.handles, before.handles + 2);
  EXPECT_EQ(LivingObjects(), L"");
}

// What a script engine wants of a program that runs a script; remembers the script's failure.
class ScriptSite final : public IActiveScriptSite {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID identifier, void** object) override {
    const bool known =
        IsEqualGUID(identifier, IID_IUnknown) || IsEqualGUID(identifier, IID_IActiveScriptSite);
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetLCID(LCID*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetItemInfo(LPCOLESTR, DWORD, IUnknown**, ITypeInfo**) override {
    return TYPE_E_ELEMENTNOTFOUND;
  }
  HRESULT STDMETHODCALLTYPE GetDocVersionString(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE OnScriptTerminate(const VARIANT*, const EXCEPINFO*) override {
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE OnStateChange(SCRIPTSTATE) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE OnScriptError(IActiveScriptError*) override {
    failed = true;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE OnEnterScript() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE OnLeaveScript() override { return S_OK; }

  bool failed = false;
};

// Runs scripts in this process, so that their use of memory can be measured.
class ScriptEngine {
 public:
  ScriptEngine() {
    CLSID class_id{};
    EXPECT_EQ(CLSIDFromProgID(L"VBScript", &class_id), S_OK);
    engine_ = Create<IActiveScript>(class_id);
    parser_ = As<IActiveScriptParse>(engine_.Get());
    EXPECT_EQ(engine_->SetScriptSite(&site_), S_OK);
    EXPECT_EQ(parser_->InitNew(), S_OK);
    EXPECT_EQ(engine_->SetScriptState(SCRIPTSTATE_CONNECTED), S_OK);
  }
  ScriptEngine(const ScriptEngine&) = delete;
  ScriptEngine& operator=(const ScriptEngine&) = delete;
  ~ScriptEngine() { engine_->Close(); }

  void Run(const std::wstring& script) {
    EXPECT_EQ(parser_->ParseScriptText(script.c_str(), nullptr, nullptr, nullptr, 0, 0, 0, nullptr,
                                       nullptr),
              S_OK);
    EXPECT_FALSE(site_.failed);
  }

 private:
  ScriptSite site_;
  ComPtr<IActiveScript> engine_;
  ComPtr<IActiveScriptParse> parser_;
};

// Some engines never let go of a class's factory, which keeps the module from here on.
TEST(Server, LeavesNothingBehindInScripts) {
  ScriptEngine engine;
  const auto create = [&](int rounds) {
    for (const wchar_t* name : {L"CellValue", L"FormulaListener", L"SumFunction", L"MinFunction"}) {
      engine.Run(L"For i = 1 To " + std::to_wstring(rounds / 4) +
                 L"\n  Set made = CreateObject(\"KtFormula9." + name + L"\")\nNext\n" +
                 L"Set made = Nothing\n");
    }
  };
  create(4000);
  const Use before = MemoryAndHandles();
  create(100000);
  const Use after = MemoryAndHandles();
  std::cout << "100000 objects of a script: " << before.bytes << " to " << after.bytes
            << " bytes\n";
  EXPECT_LT(after.bytes, before.bytes + 500000);
  EXPECT_LE(after.handles, before.handles + 2);
  EXPECT_EQ(LivingObjects(), L"");
}

struct ThreadStart {
  DWORD apartment;
  const std::function<void()>& body;
};
DWORD WINAPI RunThread(void* parameter) {
  const ThreadStart& start = *static_cast<ThreadStart*>(parameter);
  CoInitializeEx(nullptr, start.apartment);
  start.body();
  CoUninitialize();
  return 0;
}
// Runs the body in a thread of its own and waits for it.
void RunInThread(SIZE_T stack, DWORD apartment, const std::function<void()>& body) {
  ThreadStart start{apartment, body};
  const HANDLE thread =
      CreateThread(nullptr, stack, RunThread, &start, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}

// From other apartments, objects are used through the automation marshaller. The apartment that the
// system makes for them keeps the module from here on.
TEST(Server, LivesInItsHostsApartment) {
  RunInThread(0, COINIT_MULTITHREADED, [] {
    const auto value = Create<IKtCellValue>(CLSID_CellValue);
    if (value == nullptr) return;
    double minimum = 0;
    VARIANT two;
    two.vt = VT_R8;
    two.dblVal = 2;
    EXPECT_EQ(value->SetNumber(20, 30), S_OK);
    EXPECT_EQ(value->Multiply(two), S_OK);
    EXPECT_EQ(value->get_MinNumber(&minimum), S_OK);
    EXPECT_EQ(minimum, 40);
    two.dblVal = 0;
    // Not all systems carry error objects along.
    EXPECT_EQ(Outcome(value->Divide(two)).substr(0, 8), L"800A000B");
    ComPtr<IUnknown> native;
    EXPECT_NE(value->QueryInterface(IID_IKtObject, reinterpret_cast<void**>(native.GetAddressOf())),
              S_OK);
  });
}

// Hostile hosts

struct Mischief {
  const wchar_t* name;
  std::function<HRESULT()> deed;
  const wchar_t* outcome;
  const wchar_t* texts;
};

TEST(HostileHost, ReachesTheCallerAndLeavesTheNextPassWorking) {
  Host host;
  ComPtr<IKtFormulaListener> listener;
  const std::vector<Mischief> rows{
      {L"no mischief", nullptr, L"", L"7|7"},
      {L"an error object",
       [] { return Fail(static_cast<HRESULT>(0x80040321), L"Grid", L"the grid is stuck"); },
       L"80040321 Grid: the grid is stuck", L"|"},
      {L"a small error", [] { return Fail(static_cast<HRESULT>(0x800A0046), L"", L""); },
       L"800A0046 KtFormula9: Automation error", L"|"},
      {L"a bare code", [] { return E_ACCESSDENIED; }, nullptr, L"|"},
      {L"no memory", [] { return E_OUTOFMEMORY; }, nullptr, L"|"},
      {L"an old error object", [] { return DISP_E_OVERFLOW; }, L"800A0006 KtFormula9: Overflow",
       L"|"},
      {L"another pass", [&] { return listener->Recalculate(&host.source, nullptr); }, L"", L"7|7"},
      {L"a changed formula",
       [&] { return listener->SetPropertyFormula(11, Text(L"8"), Text(L"")); }, L"", L"7|7"},
      {L"a removed formula", [&] { return listener->SetPropertyFormula(11, nullptr, nullptr); },
       L"", L"7|7"},
      {L"the end", [&] { return As<IKtFieldListener>(listener.Get())->Terminate(); }, L"", L"7|7"},
      {L"a second start",
       [&] {
         As<IKtFieldListener>(listener.Get())->Terminate();
         return As<IKtFieldListener>(listener.Get())
             ->Initialize(&host.framework, &host.owner, nullptr);
       },
       L"", L"7|7"},
      {L"letting go", [&] { return listener = nullptr, S_OK; }, L"", L"7|7"},
  };
  for (const Mischief& row : rows) {
    SCOPED_TRACE(row.name);
    listener = host.Listener(L"3 + 4");
    const auto field_listener = As<IKtFieldListener>(listener.Get()).Detach();
    const ULONG left = field_listener->Release();
    ASSERT_EQ(left, 1U) << "the variable's own reference";
    Fail(E_FAIL, L"Elsewhere", L"long ago");
    host.grid.mischief = row.deed;
    const std::wstring outcome = Outcome(field_listener->TableNotification(&host.source, nullptr));
    if (row.outcome != nullptr) {
      EXPECT_EQ(outcome, row.outcome);
    } else {
      EXPECT_NE(outcome, L"");
      EXPECT_EQ(outcome.find(L"long ago"), std::wstring::npos);
    }
    EXPECT_EQ(host.Texts(), row.texts);
    if (listener != nullptr) {
      const auto again = As<IKtFieldListener>(listener.Get());
      again->Terminate();
      EXPECT_EQ(again->Initialize(&host.framework, &host.owner, nullptr), S_OK);
      EXPECT_EQ(listener->SetPropertyFormula(11, Text(L"5"), Text(L"")), S_OK);
      EXPECT_EQ(again->TableNotification(&host.source, nullptr), S_OK);
      EXPECT_EQ(host.Texts(), L"5|5");
    }
    listener = nullptr;
    EXPECT_EQ(host.References(), 0);
    EXPECT_EQ(LivingObjects(), L"");
  }
}

// A function of a host that evaluates its first argument, if it has one.
struct EchoFunction final : Fake<IKtFormulaFunction> {
  HRESULT STDMETHODCALLTYPE Initialize(IDispatch*) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE ComputeValue(IDispatch* args, IDispatch* sco,
                                         IDispatch* target) override {
    ComPtr<IDispatch> item;
    if (keeps) kept = args;
    const HRESULT code = As<IKtTokenLayer>(args)->get_Item(1, item.GetAddressOf());
    if (FAILED(code)) return code;
    return listener->EvaluateArgument(target, item.Get(), nullptr, sco, sco);
  }
  HRESULT STDMETHODCALLTYPE Terminate() override { return S_OK; }
  IKtFormulaListener* listener = nullptr;
  bool keeps = false;
  ComPtr<IDispatch> kept;
};

void AddFunction(IKtFormulaListener& listener, const wchar_t* name, IDispatch* function) {
  ComPtr<IDispatch> dictionary;
  ASSERT_EQ(listener.get_FormulaFunctions(dictionary.GetAddressOf()), S_OK);
  const Text key(name);
  AddEntry(*dictionary.Get(), TextVariant(key), ObjectVariant(function));
}

TEST(Objects, AreCounted) {
  for (const ClassRow& row : Classes()) {
    const auto object = Create<IUnknown>(row.identifier);
    EXPECT_EQ(LivingObjects(), std::wstring(L"KtFormula9.") + row.name + L": 1\n");
  }
  Host host;
  ComPtr<IKtTokenLayer> tree;
  auto listener = host.Listener(L"ECHO(2)");
  const auto counts = [](const wchar_t* line) {
    return LivingObjects().find(line) != std::wstring::npos;
  };
  ASSERT_EQ(listener->MakeTokenTree(Text(L"1+2"), tree.GetAddressOf()), S_OK);
  EXPECT_TRUE(counts(L"KtFormula9.FormulaToken: 3\n"));
  EXPECT_TRUE(counts(L"KtFormula9.TokenLayer: 1\n"));
  EXPECT_TRUE(counts(L"KtFormula9.PropertyFormula: 1\n"));
  EXPECT_TRUE(counts(L"KtFormula9.SumFunction: 1\n"));
  tree = nullptr;

  // What a host keeps of a call.
  EchoFunction echo;
  echo.listener = listener.Get();
  echo.keeps = true;
  AddFunction(*listener.Get(), L"ECHO", &echo);
  EXPECT_EQ(listener->Recalculate(&host.source, nullptr), S_OK);
  EXPECT_EQ(host.Texts(), L"2|2");
  listener = nullptr;
  EXPECT_EQ(LivingObjects(), L"KtFormula9.TokenLayer: 1\n");
}

// XML

ComPtr<IXMLDOMDocument> Document(const wchar_t* xml) {
  CLSID class_id{};
  ComPtr<IXMLDOMDocument> document;
  VARIANT_BOOL loaded = VARIANT_FALSE;
  EXPECT_EQ(CLSIDFromProgID(L"MSXML2.DOMDocument.6.0", &class_id), S_OK);
  EXPECT_EQ(CoCreateInstance(class_id, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                             reinterpret_cast<void**>(document.GetAddressOf())),
            S_OK);
  EXPECT_EQ(document->loadXML(Text(xml), &loaded), S_OK);
  EXPECT_NE(loaded, VARIANT_FALSE);
  return document;
}
ComPtr<IXMLDOMElement> Root(IXMLDOMDocument& document) {
  ComPtr<IXMLDOMElement> root;
  EXPECT_EQ(document.get_documentElement(root.GetAddressOf()), S_OK);
  return root;
}
// Without the line breaks that some implementations put in.
std::wstring XmlOf(IXMLDOMNode& node) {
  Text xml;
  EXPECT_EQ(node.get_xml(&xml), S_OK);
  std::wstring text = xml.Get();
  std::erase_if(text, [](wchar_t one) { return one == L'\r' || one == L'\n' || one == L'\t'; });
  return text;
}

TEST(Xml, IsReadAndWritten) {
  Host host;
  const auto listener = host.Listener(L"1");
  const auto object = As<IKtObject>(listener.Get());
  const auto data = As<IKtListenerData>(listener.Get());
  const auto load = [&](const wchar_t* type, const wchar_t* xml) {
    const auto document = Document(xml);
    return Outcome(data->SetData(Text(type), ObjectVariant(Root(*document.Get()).Get())));
  };
  const auto exported = [&](const wchar_t* mode) {
    const auto document = Document(L"<all/>");
    EXPECT_EQ(Outcome(object->Export(Root(*document.Get()).Get(), Text(mode))), L"");
    return XmlOf(*Root(*document.Get()).Get());
  };
  EXPECT_EQ(As<IKtFieldListener>(listener.Get())->put_Key(9), S_OK);
  EXPECT_EQ(load(L"xml",
                 L"<fieldListener name='n &amp; m' progID='p' position='4'>"
                 L"<!-- by name --><propertyFormula format='0.0' name='Yield'><![CDATA[ 2 < 3 ]]>"
                 L"</propertyFormula><definition name='d'><![CDATA[1]]></definition>"
                 L"</fieldListener>"),
            L"");
  EXPECT_EQ(exported(L""),
            L"<all><fieldListener key=\"9\" progID=\"p\" name=\"n &amp; m\" position=\"4\">"
            L"<propertyFormula format=\"0.0\" key=\"11\"><![CDATA[ 2 < 3 ]]></propertyFormula>"
            L"<definition name=\"d\"><![CDATA[1]]></definition></fieldListener></all>");
  EXPECT_EQ(exported(L"export"),
            L"<all><fieldListener progID=\"p\" name=\"n &amp; m\" position=\"4\">"
            L"<propertyFormula format=\"0.0\" name=\"Yield\"><![CDATA[ 2 < 3 ]]></propertyFormula>"
            L"<definition name=\"d\"><![CDATA[1]]></definition></fieldListener></all>");

  // What can not be read changes nothing.
  const std::wstring before = exported(L"");
  EXPECT_EQ(
      load(L"xml",
           L"<fieldListener name='other'><propertyFormula name='Mass'>1</propertyFormula>"
           L"</fieldListener>"),
      L"80040201 FormulaListener.SetData: the property name \"Mass\" is not recognized in the "
      L"table Products");
  EXPECT_EQ(load(L"", L"<fieldListener position='70000'/>"),
            L"800A0006 FormulaListener.SetData/KtFormula9: Overflow");
  EXPECT_EQ(exported(L""), before);
  // Other data types start from nothing.
  EXPECT_EQ(load(L"", L"<fieldListener/>"), L"");
  EXPECT_EQ(exported(L""),
            L"<all><fieldListener key=\"9\" progID=\"p\" name=\"n &amp; m\" "
            L"position=\"4\"/></all>");

  const auto document = Document(L"<sort by='x'/>");
  ComPtr<IDispatch> element;
  EXPECT_EQ(object->ReferenceElement(document.Get(), element.GetAddressOf()), S_OK);
  ComPtr<IXMLDOMNode> node;
  EXPECT_EQ(element->QueryInterface(IID_IXMLDOMNode, reinterpret_cast<void**>(node.GetAddressOf())),
            S_OK);
  EXPECT_EQ(XmlOf(*node.Get()), L"<fieldListener key=\"9\"/>");
  EXPECT_EQ(Outcome(object->Execute(Root(*document.Get()).Get(), nullptr,
                                    element.ReleaseAndGetAddressOf())),
            L"80040201 FormulaListener.IKtObject_Execute: the command \"sort\" is not recognized "
            L"for this table");
}

// Formulas

TEST(Formulas, AreTheirHosts) {
  Host host;
  const auto listener = host.Listener(L"1");
  const auto formula = Create<IKtPropertyFormula2>(CLSID_PropertyFormula);
  const auto face = As<IKtPropertyFormula>(formula.Get());
  EXPECT_EQ(formula->put_Formula(Text(L"[own]")), S_OK);
  EXPECT_EQ(formula->put_StringFormat(Text(L"0.0")), S_OK);
  Text text;
  Text format;
  EXPECT_EQ(face->get_Formula(&text), S_OK);
  EXPECT_EQ(face->get_StringFormat(&format), S_OK);
  EXPECT_EQ(text.Get() + format.Get(), L"[own]0.0");

  // One tree is one object, however it was put there.
  ComPtr<IKtTokenLayer> tree;
  ComPtr<IKtTokenLayer> given;
  ASSERT_EQ(listener->MakeTokenTree(Text(L"6"), tree.GetAddressOf()), S_OK);
  EXPECT_EQ(formula->put_TokenTree(ObjectVariant(tree.Get())), S_OK);
  EXPECT_EQ(face->get_TokenTree(given.GetAddressOf()), S_OK);
  EXPECT_EQ(given.Get(), tree.Get());
  for (const HRESULT code :
       {formula->put_TokenTree(NumberVariant(5)), formula->put_TokenTree(VARIANT{}),
        formula->putref_TokenTree(listener.Get())})
    EXPECT_EQ(code, static_cast<HRESULT>(0x800A000D));
  EXPECT_EQ(formula->putref_TokenTree(nullptr), S_OK);
  EXPECT_EQ(face->get_TokenTree(given.ReleaseAndGetAddressOf()), S_OK);
  EXPECT_EQ(given.Get(), nullptr);

  // What is no formula under a text, or under no column's key, is not exported.
  ComPtr<IDispatch> formulas;
  ComPtr<IDispatch> definitions;
  ASSERT_EQ(listener->get_PropertyFormulas(formulas.GetAddressOf()), S_OK);
  ASSERT_EQ(listener->get_Definitions(definitions.GetAddressOf()), S_OK);
  const Text own(L"own");
  const Text odd(L"odd");
  AddEntry(*definitions.Get(), TextVariant(own), ObjectVariant(formula.Get()));
  AddEntry(*definitions.Get(), TextVariant(odd), TextVariant(odd));
  AddEntry(*definitions.Get(), NumberVariant(7), ObjectVariant(formula.Get()));
  AddEntry(*formulas.Get(), TextVariant(odd), ObjectVariant(formula.Get()));
  AddEntry(*formulas.Get(), NumberVariant(11), ObjectVariant(formula.Get()));
  AddEntry(*formulas.Get(), ObjectVariant(&host.owner), ObjectVariant(formula.Get()));
  const auto document = Document(L"<all/>");
  EXPECT_EQ(
      Outcome(As<IKtObject>(listener.Get())->Export(Root(*document.Get()).Get(), Text(L"export"))),
      L"");
  EXPECT_EQ(XmlOf(*Root(*document.Get()).Get()),
            L"<all><fieldListener progID=\"\" name=\"\" position=\"0\"><propertyFormula "
            L"format=\"\" name=\"Yield\"><![CDATA[1]]></propertyFormula><definition "
            L"name=\"own\"><![CDATA[[own]]]></definition></fieldListener></all>");
  As<IKtFieldListener>(listener.Get())->Terminate();
}

// Apartments

// What a listener does for one host, over and over; the first thing that went wrong.
std::wstring Work(int rounds) {
  for (int i = 0; i < rounds; ++i) {
    Host host;
    const auto listener = host.Listener(L"IF([d] = 1, SUM([x]), 'no ' & COUNT(1)) & [d]");
    listener->SetDefinition(Text(L"d"), Text(L"1 * (2 - 1)"));
    if (const auto outcome = Outcome(listener->Recalculate(&host.source, nullptr));
        !outcome.empty())
      return outcome;
    const std::wstring texts = host.Texts();
    if (texts.find(L"#Error: ") != 0) return texts;
    const auto value = Create<IKtCellValue>(CLSID_CellValue);
    value->SetString(Text(L"a"));
    const std::wstring outcome = Outcome(value->Add(NumberVariant(1)));
    if (outcome != L"80040201 CellValue.Add: the value \"a\" is not a number") return outcome;
    LPOLESTR name = const_cast<LPOLESTR>(L"MinNumber");
    DISPID member = 0;
    value->GetIDsOfNames(GUID_NULL, &name, 1, 0, &member);
    if (member != 3) return L"MinNumber is " + std::to_wstring(member);
    const auto document = Document(L"<all/>");
    As<IKtObject>(listener.Get())->Export(Root(*document.Get()).Get(), Text(L""));
    if (XmlOf(*document.Get()).find(L"[d] = 1") == std::wstring::npos) return L"export";
    As<IKtFieldListener>(listener.Get())->Terminate();
    if (host.References() != 0) return L"the host is still held";
  }
  return L"";
}

TEST(Apartments, DoNotDisturbEachOther) {
  std::latch begin(4);
  std::wstring outcomes[4];
  std::vector<std::thread> threads;
  for (std::wstring& outcome : outcomes) {
    threads.emplace_back([&begin, &outcome] {
      CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
      begin.arrive_and_wait();
      outcome = Work(500);
      CoUninitialize();
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  for (const std::wstring& outcome : outcomes)
    EXPECT_EQ(outcome, L"");
  EXPECT_EQ(LivingObjects(), L"");
}

// Registration

void AddKeys(HKEY root, const std::wstring& path, std::set<std::wstring>& keys) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return;
  wchar_t name[256];
  for (DWORD i = 0;; ++i) {
    DWORD length = 256;
    if (RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
      break;
    }
    std::wstring below = path + L"\\" + name;
    CharLowerW(below.data());
    keys.insert(std::move(below));
    AddKeys(root, path + L"\\" + name, keys);
  }
  RegCloseKey(key);
}
// In lower case; without those that a system with two word sizes shows twice.
std::set<std::wstring> ClassesKeys(HKEY root) {
  std::set<std::wstring> keys;
  AddKeys(root, L"software\\classes", keys);
  std::erase_if(keys, [](const std::wstring& key) {
    return key.find(L"\\wow6432node") != std::wstring::npos;
  });
  return keys;
}
// Without the parents of all registrations, which a user's first one makes.
std::set<std::wstring> Added(const std::set<std::wstring>& before,
                             const std::set<std::wstring>& after) {
  std::set<std::wstring> added;
  std::set_difference(after.begin(), after.end(), before.begin(), before.end(),
                      std::inserter(added, added.end()));
  for (const wchar_t* parent : {L"clsid", L"interface", L"typelib"})
    added.erase(std::wstring(L"software\\classes\\") + parent);
  return added;
}
std::wstring Value(HKEY root, const std::wstring& path, const wchar_t* name) {
  wchar_t value[1024] = L"";
  DWORD size = sizeof(value);
  RegGetValueW(root, (L"Software\\Classes\\" + path).c_str(), name, RRF_RT_REG_SZ, nullptr, value,
               &size);
  return value;
}

TEST(Registration, LeavesTheRegistryAsItWas) {
  using Entry = HRESULT(STDAPICALLTYPE*)();
  using Install = HRESULT(STDAPICALLTYPE*)(BOOL, PCWSTR);
  const auto register_server = Exported<Entry>("DllRegisterServer");
  const auto unregister_server = Exported<Entry>("DllUnregisterServer");
  const auto install = Exported<Install>("DllInstall");
  wchar_t class_id[39];
  StringFromGUID2(CLSID_CellValue, class_id, 39);
  const std::wstring server = std::wstring(L"CLSID\\") + class_id + L"\\InprocServer32";

  const auto registered = ClassesKeys(HKEY_LOCAL_MACHINE);
  const auto user = ClassesKeys(HKEY_CURRENT_USER);
  EXPECT_EQ(Value(HKEY_LOCAL_MACHINE, server, L"ThreadingModel"), L"Apartment");
  EXPECT_EQ(unregister_server(), S_OK);
  const auto clean = ClassesKeys(HKEY_LOCAL_MACHINE);
  // Of each class its parts and its program identifier, of each library and interface its parts.
  EXPECT_GT(Added(clean, registered).size(), 15 * 6 + 3 * 6 + 31 * 3);
  EXPECT_EQ(std::count_if(clean.begin(), clean.end(),
                          [](const std::wstring& key) { return key.find(L"\\ktf") != key.npos; }),
            0);
  EXPECT_EQ(unregister_server(), S_OK) << "when nothing is registered";
  EXPECT_EQ(ClassesKeys(HKEY_CURRENT_USER), user);

  EXPECT_EQ(install(TRUE, L"everything"), E_INVALIDARG);
  EXPECT_EQ(install(TRUE, L"user"), S_OK);
  EXPECT_EQ(ClassesKeys(HKEY_LOCAL_MACHINE), clean);
  EXPECT_EQ(Added(user, ClassesKeys(HKEY_CURRENT_USER)), Added(clean, registered));
  EXPECT_EQ(Value(HKEY_CURRENT_USER, server, L"ThreadingModel"), L"Apartment");
  EXPECT_EQ(lstrcmpiW(Value(HKEY_CURRENT_USER, server, nullptr).c_str(), dll_path.c_str()), 0);
  EXPECT_EQ(install(FALSE, L"user"), S_OK);
  EXPECT_EQ(ClassesKeys(HKEY_CURRENT_USER), user);

  EXPECT_EQ(register_server(), S_OK);
  EXPECT_EQ(register_server(), S_OK) << "a second time";
  EXPECT_EQ(ClassesKeys(HKEY_LOCAL_MACHINE), registered);
  EXPECT_EQ(ClassesKeys(HKEY_CURRENT_USER), user);
}

// The stack

constexpr std::size_t kHostStack = 1 << 20;
constexpr std::size_t kPainted = 12 << 20;
constexpr std::uint64_t kPaint = 0xA5A5A5A55A5A5A5A;

// Gives the address of the lowest painted word.
[[gnu::noinline]] std::uintptr_t PaintStack() {
  auto* bottom = static_cast<volatile std::uint64_t*>(__builtin_alloca(kPainted));
  for (std::size_t i = 0; i < kPainted / sizeof(kPaint); ++i)
    bottom[i] = kPaint;
  return reinterpret_cast<std::uintptr_t>(bottom);
}

std::string Narrow(std::wstring_view text) {
  std::string narrow;
  for (const wchar_t unit : text)
    narrow += static_cast<char>(unit);
  return narrow;
}

// How many bytes of stack the body uses.
std::size_t StackNeed(const std::function<void()>& body) {
  std::size_t need = 0;
  RunInThread(kPainted + (2 << 20), COINIT_APARTMENTTHREADED, [&] {
    const auto* const bottom = reinterpret_cast<volatile std::uint64_t*>(PaintStack());
    body();
    std::size_t untouched = 0;
    while (bottom[untouched] == kPaint)
      ++untouched;
    need = kPainted - untouched * sizeof(kPaint);
  });
  return need;
}

std::wstring Repeated(const std::wstring& text, int times) {
  std::wstring repeated;
  for (int i = 0; i < times; ++i)
    repeated += text;
  return repeated;
}
std::wstring Nested(const std::wstring& before, const std::wstring& inner, int depth) {
  return Repeated(before, depth) + inner + Repeated(L")", depth);
}

struct Deep {
  const wchar_t* name;
  std::wstring formula;
  // Each definition d1, d2, ... with the name of the next one in place of "?"; the last one is "1".
  std::wstring definition;
  std::wstring result;
};

// A host's stack may be too small for the deepest formulas, which then are an error as if they were
// deeper still.
TEST(Stack, NeverOverflows) {
  const std::wstring too_deep = L"#Error: the formula is nested too deeply";
  const std::wstring all_levels = L"1=1 OR 1=1 AND NOT 1=2+1*1!(";
  const std::vector<Deep> rows{
      {L"parentheses", Nested(L"(", L"1", 256), L"", L"1"},
      {L"one more", Nested(L"(", L"1", 257), L"", too_deep},
      {L"all operators", Nested(all_levels, L"1", 256), L"", L"true"},
      {L"conditions", Nested(L"IF(1=2,0,1+", L"1", 255), L"", L"256"},
      {L"a host's function", Nested(L"ECHO(", L"1", 255), L"", L"1"},
      {L"definitions", L"[d1]", L"[?]", L"1"},
      {L"definitions of all operators", L"[d1]", Nested(all_levels, L"[?]", 200), L"true"},
      {L"definitions of a host's functions", L"[d1]", Nested(L"ECHO(", L"[?]", 200), too_deep},
      {L"definitions of conditions", L"[d1]", Nested(L"IF(1=2,0,1+", L"[?]", 200), L"19601"},
  };
  for (const Deep& row : rows) {
    SCOPED_TRACE(row.name);
    std::wstring result;
    const auto evaluate = [&] {
      Host host;
      EchoFunction echo;
      auto listener = host.Listener(row.formula.c_str());
      echo.listener = listener.Get();
      AddFunction(*listener.Get(), L"ECHO", &echo);
      for (int i = 1; i <= 99 && !row.definition.empty(); ++i) {
        std::wstring formula = row.definition;
        formula.replace(formula.find(L'?'), 1, L"d" + std::to_wstring(i + 1));
        listener->SetDefinition(Text(L"d" + std::to_wstring(i)),
                                i < 99 ? Text(formula) : Text(L"1"));
      }
      EXPECT_EQ(listener->Recalculate(&host.source, nullptr), S_OK);
      const std::wstring texts = host.Texts();
      result = texts.substr(0, texts.find(L'|'));
    };
    const std::size_t need = StackNeed(evaluate);
    EXPECT_EQ(result, row.result);
    std::cout << need << " bytes of stack for " << Narrow(row.name) << "\n";
    for (const std::size_t stack : {kHostStack, kHostStack / 4}) {
      RunInThread(stack, COINIT_APARTMENTTHREADED, evaluate);
      if (need < stack / 4 * 3) {
        EXPECT_EQ(result, row.result) << stack;
      } else if (result != row.result) {
        EXPECT_EQ(result, too_deep) << stack;
      }
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  wchar_t full_path[MAX_PATH] = L"";
  if (argc == 2) {
    const std::wstring given(argv[1], argv[1] + strlen(argv[1]));
    GetFullPathNameW(given.c_str(), MAX_PATH, full_path, nullptr);
  }
  dll_path = full_path;
  if (LoadLibraryW(full_path) == nullptr) {
    std::cerr << "usage: client_test DLL\n";
    return 2;
  }
  CoInitialize(nullptr);
  const int result = RUN_ALL_TESTS();
  CoUninitialize();
  const std::wstring left = LivingObjects();
  if (!left.empty()) {
    std::cerr << "objects left alive: " << Narrow(left) << "\n";
    return 1;
  }
  return result;
}

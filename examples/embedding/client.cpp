// Computes with the component in plain COM: first with single values, then as the host of a table.
//
// The component must be registered for this program's word size. In this folder, with the headers
// that come with the component in ..\..\include:
//
//   cl /std:c++20 /EHsc /I..\..\include client.cpp ole32.lib oleaut32.lib
//   g++ -std=c++20 -I../../include client.cpp -o client.exe -static -lole32 -loleaut32 -luuid
#include <cstdio>
#include <cwchar>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <windows.h>
#include <wrl/client.h>

#include "KtFormula9.h"
#include "KtFramework9.h"
#include "KtStandard9.h"

using Microsoft::WRL::ComPtr;

namespace {

// A text on its way through a call. The caller frees what it passes as well as what it receives,
// so that either way the text is this object's.
class Text {
 public:
  Text() = default;
  explicit Text(const std::wstring& text) : text_(SysAllocString(text.c_str())) {}
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  ~Text() { SysFreeString(text_); }

  // Where a call stores its result.
  BSTR* Receive() { return &text_; }
  BSTR Get() const { return text_; }

 private:
  BSTR text_ = nullptr;
};

// What a call passes; a null pointer is an empty text.
std::wstring_view View(BSTR text) {
  return {text, SysStringLen(text)};
}

struct Failure {
  HRESULT code;
  std::wstring source;
  std::wstring description;
};

// Throws what a failed call reports. The component's objects leave an error object with source and
// description; failures of the system have their code only.
void Check(HRESULT code) {
  if (SUCCEEDED(code)) return;
  Text source;
  Text description;
  ComPtr<IErrorInfo> information;
  if (GetErrorInfo(0, information.GetAddressOf()) == S_OK) {
    information->GetSource(source.Receive());
    information->GetDescription(description.Receive());
  }
  throw Failure{code, std::wstring(View(source.Get())), std::wstring(View(description.Get()))};
}

// A new object of one of the component's classes.
template <typename Class, typename Interface>
ComPtr<Interface> Create() {
  ComPtr<Interface> object;
  Check(CoCreateInstance(__uuidof(Class), nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface),
                         reinterpret_cast<void**>(object.GetAddressOf())));
  return object;
}

// Operands of values: a plain number, or another value, which the variant borrows.
VARIANT Operand(double number) {
  VARIANT operand;
  VariantInit(&operand);
  operand.vt = VT_R8;
  operand.dblVal = number;
  return operand;
}
VARIANT Operand(IDispatch* value) {
  VARIANT operand;
  VariantInit(&operand);
  operand.vt = VT_DISPATCH;
  operand.pdispVal = value;
  return operand;
}

void ShowValues() {
  const auto range = Create<CellValue, IKtCellValue>();
  Check(range->SetNumber(10, 20));
  const auto half = Create<CellValue, IKtCellValue>();
  Check(half->SetNumber(0.5, 0.5));
  // Operators change the value that they are called on.
  Check(range->Multiply(Operand(half.Get())));
  Check(range->Add(Operand(1)));
  double minimum = 0;
  double maximum = 0;
  Check(range->get_MinNumber(&minimum));
  Check(range->get_MaxNumber(&maximum));
  std::wprintf(L"range: %g .. %g\n", minimum, maximum);

  ComPtr<IKtCellValue> comparison;
  Check(range->Duplicate(comparison.GetAddressOf()));
  Check(comparison->GreaterThan(Operand(half.Get())));
  VARIANT_BOOL is_greater = VARIANT_FALSE;
  Check(comparison->get_BooleanValue(&is_greater));
  std::wprintf(L"greater than a half: %ls\n", is_greater != VARIANT_FALSE ? L"yes" : L"no");

  Check(range->SetString(Text(L"about ten").Get()));
  try {
    Check(range->Add(Operand(1)));
  } catch (const Failure& failure) {
    std::wprintf(L"%08lX from %ls: %ls\n", static_cast<unsigned long>(failure.code),
                 failure.source.c_str(), failure.description.c_str());
  }
}

// The ground of the host's objects: counted, and known by their interfaces, of which the first
// stands for the object. A new object has one reference, its maker's. Members of IDispatch are
// never called, because the component calls objects with typed interfaces through these.
//
// Nothing but a lack of memory throws here, and that may end the program: members are noexcept.
template <typename First, typename... Others>
class HostObject : public First, public Others... {
 public:
  HostObject() = default;
  HostObject(const HostObject&) = delete;
  HostObject& operator=(const HostObject&) = delete;
  virtual ~HostObject() = default;

  // For arguments; the object keeps its reference.
  IDispatch* Dispatch() { return static_cast<First*>(this); }

  STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept override {
    *object = nullptr;
    if (id == __uuidof(IUnknown) || id == __uuidof(IDispatch) || id == __uuidof(First)) {
      *object = static_cast<First*>(this);
    }
    ((id == __uuidof(Others) ? void(*object = static_cast<Others*>(this)) : void()), ...);
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() noexcept override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

  STDMETHODIMP GetTypeInfoCount(UINT*) noexcept override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept override {
    return E_NOTIMPL;
  }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                      UINT*) noexcept override {
    return E_NOTIMPL;
  }

 private:
  // Only the thread that made the object uses it.
  ULONG references_ = 1;
};

// Results of members. What is allocated or counted belongs to the caller from then on.
HRESULT Give(LONG* target, LONG value) {
  *target = value;
  return S_OK;
}
HRESULT Give(double* target, double value) {
  *target = value;
  return S_OK;
}
HRESULT Give(VARIANT_BOOL* target, bool value) {
  *target = value ? VARIANT_TRUE : VARIANT_FALSE;
  return S_OK;
}
HRESULT Give(BSTR* target, const std::wstring& text) {
  *target = SysAllocString(text.c_str());
  return *target != nullptr ? S_OK : E_OUTOFMEMORY;
}
// The maker's reference of a new object.
template <typename Interface, typename Object>
HRESULT GiveNew(Interface** target, Object* object) {
  *target = object;
  return S_OK;
}
// One more reference of an object that stays here, too.
template <typename Interface, typename Object>
HRESULT GiveShared(Interface** target, Object* object) {
  object->AddRef();
  return GiveNew(target, object);
}
template <typename Interface>
HRESULT GiveNothing(Interface** target) {
  *target = nullptr;
  return S_OK;
}

// The table's data, which know nothing of COM. The objects below are views of them, made when
// somebody asks; every view keeps the table, and no table keeps a view, so that there is no cycle.
struct CellContent {
  std::wstring text;
  double number = 0;
  bool is_entered = false;
};
struct ColumnContent {
  LONG key = 0;
  std::wstring name;
  std::vector<CellContent> cells;
};

// What references may start from or lead to.
template <typename Interface, KtNotebookObjectKindEnum kKind>
class NotebookObject : public HostObject<Interface> {
 public:
  STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept override {
    const bool is_base = id == __uuidof(IKtNotebookObject);
    return HostObject<Interface>::QueryInterface(is_base ? __uuidof(Interface) : id, object);
  }
  STDMETHODIMP get_Kind(KtNotebookObjectKindEnum* value) noexcept override {
    *value = kKind;
    return S_OK;
  }
  STDMETHODIMP get_TypeName(BSTR* value) noexcept override {
    return Give(value, L"part of a table");
  }
  STDMETHODIMP get_ResolvesRelativeReferences(VARIANT_BOOL* value) noexcept override {
    return Give(value, false);
  }
  STDMETHODIMP ResolveRelative(BSTR, IDispatch** object) noexcept override {
    return GiveNothing(object);
  }
  // A form with more than this table would say here where its fields are found.
  STDMETHODIMP get_Scope(IKtPropertyScope** value) noexcept override { return GiveNothing(value); }
};

class Table final : public NotebookObject<IKtTable, kNotebookObjectKindTable> {
 public:
  explicit Table(std::vector<ColumnContent> columns) : columns_(std::move(columns)) {}

  ColumnContent& ContentOf(std::size_t column) { return columns_[column]; }
  std::size_t ColumnCount() const { return columns_.size(); }
  std::size_t RowCount() const { return columns_.front().cells.size(); }

  STDMETHODIMP get_ColumnCount(LONG* value) noexcept override {
    return Give(value, static_cast<LONG>(ColumnCount()));
  }
  STDMETHODIMP get_RowCount(LONG* value) noexcept override {
    return Give(value, static_cast<LONG>(RowCount()));
  }
  STDMETHODIMP Column(LONG index, IKtTableProperty** column) noexcept override;
  STDMETHODIMP Row(LONG index, IKtTableRow** row) noexcept override;

  STDMETHODIMP get_ResolvesRelativeReferences(VARIANT_BOOL* value) noexcept override {
    return Give(value, true);
  }
  // A name in a formula is a column of the table.
  STDMETHODIMP ResolveRelative(BSTR name, IDispatch** object) noexcept override;

 private:
  std::vector<ColumnContent> columns_;
};

// What the component asks of a column's definition: all columns hold plain numbers.
class ColumnDefinition final : public HostObject<IKtELNProperty> {
 public:
  ColumnDefinition(ComPtr<Table> table, std::size_t column)
      : table_(std::move(table)), column_(column) {}

  STDMETHODIMP get_Key(LONG* value) noexcept override {
    return Give(value, table_->ContentOf(column_).key);
  }
  STDMETHODIMP get_Name(BSTR* value) noexcept override {
    return Give(value, table_->ContentOf(column_).name);
  }
  STDMETHODIMP get_IsNumeric(VARIANT_BOOL* value) noexcept override { return Give(value, true); }
  STDMETHODIMP get_DataTypeName(BSTR* value) noexcept override { return Give(value, L"number"); }
  STDMETHODIMP get_HasUnits(VARIANT_BOOL* value) noexcept override { return Give(value, false); }
  STDMETHODIMP get_DefaultUnit(IKtUnit** value) noexcept override { return GiveNothing(value); }
  STDMETHODIMP get_NumberFormatting(VARIANT_BOOL* value) noexcept override {
    return Give(value, false);
  }

 private:
  ComPtr<Table> table_;
  std::size_t column_;
};

class TableCell final : public NotebookObject<IKtTableCell, kNotebookObjectKindTableCell> {
 public:
  TableCell(ComPtr<Table> table, std::size_t column, std::size_t row)
      : table_(std::move(table)), column_(column), row_(row) {}

  CellContent& Content() { return table_->ContentOf(column_).cells[row_]; }

  STDMETHODIMP get_ResolvesRelativeReferences(VARIANT_BOOL* value) noexcept override {
    return Give(value, true);
  }
  STDMETHODIMP ResolveRelative(BSTR name, IDispatch** object) noexcept override {
    return table_->ResolveRelative(name, object);
  }
  STDMETHODIMP get_ELNProperty(IKtELNProperty** value) noexcept override {
    return GiveNew(value, new ColumnDefinition(table_, column_));
  }
  STDMETHODIMP get_Row(IKtTableRow** value) noexcept override {
    return table_->Row(static_cast<LONG>(row_) + 1, value);
  }
  STDMETHODIMP get_Text(BSTR* value) noexcept override { return Give(value, Content().text); }
  STDMETHODIMP get_MinNumber(double* value) noexcept override {
    return Give(value, Content().number);
  }
  STDMETHODIMP get_MaxNumber(double* value) noexcept override {
    return Give(value, Content().number);
  }
  STDMETHODIMP get_StructureText(BSTR* value) noexcept override { return Give(value, L""); }
  // What the user has typed in is not computed.
  STDMETHODIMP get_StateText(BSTR* value) noexcept override {
    return Give(value, Content().is_entered ? L"entered" : L"");
  }
  STDMETHODIMP get_Tag(BSTR* value) noexcept override { return Give(value, L""); }
  STDMETHODIMP get_Key(BSTR* value) noexcept override { return Give(value, L""); }
  STDMETHODIMP get_UnitName(BSTR* value) noexcept override { return Give(value, L""); }

 private:
  ComPtr<Table> table_;
  std::size_t column_;
  std::size_t row_;
};

class TableColumn final
    : public NotebookObject<IKtTableProperty, kNotebookObjectKindTableProperty> {
 public:
  TableColumn(ComPtr<Table> table, std::size_t column)
      : table_(std::move(table)), column_(column) {}

  std::size_t Position() const { return column_; }

  STDMETHODIMP get_Table(IKtTable** value) noexcept override {
    return GiveShared(value, table_.Get());
  }
  STDMETHODIMP get_ELNProperty(IKtELNProperty** value) noexcept override {
    return GiveNew(value, new ColumnDefinition(table_, column_));
  }
  STDMETHODIMP get_CellCount(LONG* value) noexcept override { return table_->get_RowCount(value); }
  STDMETHODIMP Cell(LONG index, IKtTableCell** cell) noexcept override {
    return GiveNew(cell, new TableCell(table_, column_, static_cast<std::size_t>(index) - 1));
  }

 private:
  ComPtr<Table> table_;
  std::size_t column_;
};

class TableRow final : public NotebookObject<IKtTableRow, kNotebookObjectKindTableRow> {
 public:
  TableRow(ComPtr<Table> table, std::size_t row) : table_(std::move(table)), row_(row) {}

  STDMETHODIMP get_Table(IKtTable** value) noexcept override {
    return GiveShared(value, table_.Get());
  }
  // The component hands the host its own objects back, so that the class is known.
  STDMETHODIMP Cell(IDispatch* column, IKtTableCell** cell) noexcept override {
    const std::size_t position = static_cast<TableColumn*>(column)->Position();
    return GiveNew(cell, new TableCell(table_, position, row_));
  }
  STDMETHODIMP Tag(BSTR, BSTR* value) noexcept override { return Give(value, L""); }

 private:
  ComPtr<Table> table_;
  std::size_t row_;
};

HRESULT Table::Column(LONG index, IKtTableProperty** column) noexcept {
  return GiveNew(column, new TableColumn(this, static_cast<std::size_t>(index) - 1));
}

HRESULT Table::Row(LONG index, IKtTableRow** row) noexcept {
  return GiveNew(row, new TableRow(this, static_cast<std::size_t>(index) - 1));
}

HRESULT Table::ResolveRelative(BSTR name, IDispatch** object) noexcept {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (columns_[i].name == View(name)) return GiveNew(object, new TableColumn(this, i));
  }
  return GiveNothing(object);
}

// The control that shows the table: the component writes through it.
class GridControl final : public HostObject<IKtGridControl> {
 public:
  STDMETHODIMP WriteText(IDispatch* cell, BSTR text, VARIANT_BOOL is_value) noexcept override {
    CellContent& content = ContentOf(cell);
    content.text = View(text);
    // A number is written as the user has it set.
    return is_value != VARIANT_FALSE ? VarR8FromStr(text, LOCALE_USER_DEFAULT, 0, &content.number)
                                     : S_OK;
  }
  STDMETHODIMP ClearNumber(IDispatch* cell) noexcept override {
    ContentOf(cell).number = 0;
    return S_OK;
  }
  // Called for columns with NumberFormatting only.
  STDMETHODIMP SetValue(IDispatch*, double, BSTR, BSTR) noexcept override { return E_NOTIMPL; }
  STDMETHODIMP FinishCell(IDispatch*) noexcept override { return S_OK; }

 private:
  static CellContent& ContentOf(IDispatch* cell) {
    return static_cast<TableCell*>(cell)->Content();
  }
};

// The one field of the form, the section that owns it, and what stands for it on the form.
class Section final : public HostObject<IKtOwnerCollection, IKtField, IKtControlHolder> {
 public:
  explicit Section(ComPtr<Table> table) : table_(std::move(table)) {}

  STDMETHODIMP get_Count(LONG* value) noexcept override { return Give(value, 1); }
  STDMETHODIMP get_Item(LONG, IKtField** value) noexcept override {
    return GiveShared(value, this);
  }
  STDMETHODIMP get_WatchedField(IKtField** value) noexcept override {
    return GiveShared(value, this);
  }
  // Columns by name are needed by the dialog and by configurations without keys.
  STDMETHODIMP get_WatchedProperties(IKtELNProperties**) noexcept override { return E_NOTIMPL; }
  STDMETHODIMP Description(LONG, BSTR* text) noexcept override {
    return Give(text, L"the client's form");
  }
  STDMETHODIMP get_Key(LONG* value) noexcept override { return Give(value, 1); }
  STDMETHODIMP get_Description(BSTR* value) noexcept override {
    return Give(value, L"table \"Amounts\"");
  }
  STDMETHODIMP get_Table(IKtTable** value) noexcept override {
    return GiveShared(value, table_.Get());
  }
  STDMETHODIMP get_ELNProperties(IKtELNProperties** value) noexcept override {
    *value = nullptr;
    return S_OK;
  }
  STDMETHODIMP get_Object(IKtGridControl** value) noexcept override {
    return GiveNew(value, new GridControl);
  }

 private:
  ComPtr<Table> table_;
};

class Form final : public NotebookObject<IKtForm, kNotebookObjectKindOther> {
 public:
  explicit Form(ComPtr<Section> section) : section_(std::move(section)) {}

  STDMETHODIMP HolderOf(IDispatch*, IKtControlHolder** holder) noexcept override {
    return GiveShared(holder, section_.Get());
  }

 private:
  ComPtr<Section> section_;
};

// What a notification tells of.
class NotificationSource final : public HostObject<IKtNotificationSource> {
 public:
  explicit NotificationSource(ComPtr<Section> section) : section_(std::move(section)) {}

  STDMETHODIMP get_FormObject(IKtForm** value) noexcept override {
    return GiveNew(value, new Form(section_));
  }

 private:
  ComPtr<Section> section_;
};

// The application; its catalogue knows no units.
class Application final : public HostObject<IKtFramework, IKtUnitCatalogue> {
 public:
  STDMETHODIMP get_Units(IDispatch** value) noexcept override {
    return GiveShared(value, Dispatch());
  }
  STDMETHODIMP Find(BSTR, IKtUnit** unit) noexcept override { return GiveNothing(unit); }
  // Result formats, storing and the dialog need the rest.
  STDMETHODIMP CreateObject(BSTR, IDispatch**) noexcept override { return E_NOTIMPL; }
  STDMETHODIMP get_Database(IDispatch**) noexcept override { return E_NOTIMPL; }
  STDMETHODIMP get_Configuration(IDispatch**) noexcept override { return E_NOTIMPL; }
  STDMETHODIMP RequestSave(IDispatch*, BSTR) noexcept override { return E_NOTIMPL; }
  STDMETHODIMP get_ApplicationPath(BSTR*) noexcept override { return E_NOTIMPL; }
};

// A host's object, whose first reference the pointer takes over.
template <typename Class, typename... Arguments>
ComPtr<Class> Make(Arguments&&... arguments) {
  ComPtr<Class> object;
  object.Attach(new Class(std::forward<Arguments>(arguments)...));
  return object;
}

// A cell as the user's typing leaves it.
CellContent Entered(const wchar_t* text) {
  return {text, std::wcstod(text, nullptr), true};
}

void Print(Table& table) {
  for (std::size_t c = 0; c < table.ColumnCount(); ++c)
    std::wprintf(L"%20ls", table.ContentOf(c).name.c_str());
  std::wprintf(L"\n");
  for (std::size_t r = 0; r < table.RowCount(); ++r) {
    for (std::size_t c = 0; c < table.ColumnCount(); ++c)
      std::wprintf(L"%20ls", table.ContentOf(c).cells[r].text.c_str());
    std::wprintf(L"\n");
  }
}

void ShowTable() {
  const std::vector<CellContent> computed(3);
  const auto table = Make<Table>(std::vector<ColumnContent>{
      {11, L"Mass", {Entered(L"1.22"), Entered(L"1.18"), Entered(L"2.30")}},
      {12, L"MW", {Entered(L"122.12"), Entered(L"107.15"), Entered(L"191.70")}},
      {13, L"Moles", computed},
      {14, L"Share", computed}});
  const auto section = Make<Section>(table);
  const auto application = Make<Application>();
  const auto source = Make<NotificationSource>(section);

  const auto listener = Create<FormulaListener, IKtFormulaListener>();
  ComPtr<IKtFieldListener> watcher;
  Check(listener.As(&watcher));
  // The listener keeps both objects until Terminate.
  Check(watcher->Initialize(application->Dispatch(), section->Dispatch(), nullptr));
  Check(listener->SetPropertyFormula(13, Text(L"[Mass]/[MW]").Get(), nullptr));
  // Computed once for the table, not once for each cell.
  Check(listener->SetDefinition(Text(L"total").Get(), Text(L"SUM([Moles])").Get()));
  Check(listener->SetPropertyFormula(14, Text(L"[Moles]/[total]").Get(), nullptr));

  Check(watcher->TableNotification(source->Dispatch(), nullptr));
  Print(*table.Get());

  std::wprintf(L"more of the first:\n");
  table->ContentOf(0).cells[0] = Entered(L"2.44");
  Check(watcher->TableNotification(source->Dispatch(), nullptr));
  Print(*table.Get());
  Check(watcher->Terminate());
}

int Run() {
  try {
    ShowValues();
    ShowTable();
    return 0;
  } catch (const Failure& failure) {
    std::fwprintf(stderr, L"failed with %08lX: %ls\n", static_cast<unsigned long>(failure.code),
                  failure.description.c_str());
    return 1;
  }
}

}  // namespace

int main() {
  // The component's objects live in apartments of one thread.
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 1;
  const int status = Run();
  CoUninitialize();
  return status;
}

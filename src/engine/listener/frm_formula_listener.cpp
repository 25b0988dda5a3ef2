#include "listener/frm_formula_listener.h"

#include <algorithm>
#include <array>
#include <utility>

#include "listener/dialog_text.h"
#include "values/text.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kListCaption = u"Formula of:";
constexpr std::u16string_view kDefinitionsEntry = u"Definitions";
constexpr std::int32_t kDefinitionsData = 0;
constexpr std::u16string_view kDefinitionsKey = u"0";

struct LocaleFont {
  std::int32_t locale;
  std::u16string_view face;
};

// Other users keep the faces that the form was designed with.
constexpr std::array<LocaleFont, 4> kLocaleFonts{{
    {1028, u"Microsoft JhengHei"},  // Chinese, traditional
    {1041, u"Meiryo"},              // Japanese
    {1042, u"Malgun Gothic"},       // Korean
    {2052, u"Microsoft YaHei"},     // Chinese, simplified
}};

}  // namespace

frmFormulaListener::~frmFormulaListener() {
  // A form that closes need not tell that the focus is gone.
  if (hooked_box_ != nullptr) Unhook(*hooked_box_);
  form_->Unload();
}

void frmFormulaListener::Load(PropertyFormulas& property_formulas, PropertyFormulas& definitions,
                              const ELNProperties& properties) {
  property_formulas_ = &property_formulas;
  definitions_ = &definitions;
  changed_ = false;
  form_->Load(*this);
  DialogComboBox& list = form_->mSourcePropertyComboBox();
  list.Clear();
  list.AddItem(kDefinitionsEntry, kDefinitionsData);
  const int count = properties.Count();
  for (int i = 1; i <= count; ++i) {
    const Ref<ELNProperty> property = properties.Item(i);
    list.AddItem(property->Name(), property->Key());
  }
  list.SetListIndex(0);
  mSourcePropertyComboBox_Click();
}

bool frmFormulaListener::Changed() {
  StoreShownEntry();
  return changed_;
}

void frmFormulaListener::Form_Load() {
  form_->mSourcePropertyLabel().SetCaption(kListCaption);
  const auto font =
      std::find_if(kLocaleFonts.begin(), kLocaleFonts.end(), [this](const LocaleFont& candidate) {
        return candidate.locale == form_->UserLocaleIdentifier();
      });
  if (font == kLocaleFonts.end()) return;
  form_->mSourcePropertyComboBox().SetFont(font->face);
  form_->mFormulaTextBox().SetFont(font->face);
  form_->mFormatTextBox().SetFont(font->face);
}

void frmFormulaListener::mSourcePropertyComboBox_Click() {
  StoreShownEntry();
  const DialogComboBox& list = form_->mSourcePropertyComboBox();
  const int index = list.ListIndex();
  if (index >= 0) ShowEntry(ToDecimalText(list.ItemData(index)));
}

void frmFormulaListener::mFormulaTextBox_GotFocus() {
  // Here the Enter key breaks the line.
  form_->mOKButton().SetDefault(false);
  Hook(form_->mFormulaTextBox());
}

void frmFormulaListener::mFormulaTextBox_LostFocus() {
  form_->mOKButton().SetDefault(true);
  Unhook(form_->mFormulaTextBox());
}

frmFormulaListener::BoxTexts frmFormulaListener::TextsOf(std::u16string_view key) const {
  if (key == kDefinitionsKey) return {DefinitionsText(*definitions_), u""};
  const std::shared_ptr<PropertyFormula> known = property_formulas_->Find(key);
  if (known == nullptr) return {};
  return {ToBoxText(known->Formula), known->StringFormat};
}

frmFormulaListener::BoxTexts frmFormulaListener::ReadBoxes() const {
  return {form_->mFormulaTextBox().Text(), form_->mFormatTextBox().Text()};
}

void frmFormulaListener::ShowEntry(std::u16string_view key) {
  const BoxTexts texts = TextsOf(key);
  form_->mFormulaTextBox().SetText(texts.formula);
  form_->mFormatTextBox().SetText(texts.format);
  // Read back, because a box may change what it is given.
  shown_texts_ = ReadBoxes();
  shown_key_ = key;
}

void frmFormulaListener::StoreShownEntry() {
  if (shown_key_.empty()) return;
  const BoxTexts texts = ReadBoxes();
  const BoxTexts before = std::exchange(shown_texts_, texts);
  if (texts == before) return;
  if (shown_key_ != kDefinitionsKey) {
    changed_ |= property_formulas_->PutOrRemove(shown_key_, FromBoxText(texts.formula),
                                                FromBoxText(texts.format));
  } else if (texts.formula != before.formula) {
    changed_ |= StoreDefinitionsText(texts.formula, *definitions_);
  }
}

void frmFormulaListener::Hook(DialogTextBox& box) {
  if (hooked_box_ != nullptr) Unhook(*hooked_box_);
  box.HookWindow();
  hooked_box_ = &box;
}

void frmFormulaListener::Unhook(DialogTextBox& box) noexcept {
  if (hooked_box_ != &box) return;
  hooked_box_ = nullptr;
  box.UnhookWindow();
}

}  // namespace ktformula

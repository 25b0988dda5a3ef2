#include "notebook/page/page_dialog_form.h"

#include "notebook/files/utf.h"

namespace ktnotebook {

void PageDialogForm::TextBox::SetText(std::u16string_view text) {
  text_.clear();
  const std::u16string valid = *FromUtf8(ToUtf8(text));
  for (std::size_t i = 0; i < valid.size(); ++i) {
    const bool is_pair = valid[i] == u'\r' && i + 1 < valid.size() && valid[i + 1] == u'\n';
    if (is_pair) ++i;
    if (valid[i] != u'\r' && valid[i] != u'\n') {
      text_ += valid[i];
    } else if (has_lines_) {
      text_ += u"\r\n";
    }
  }
}

}  // namespace ktnotebook

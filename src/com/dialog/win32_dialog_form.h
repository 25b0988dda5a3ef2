// The properties dialog of a formula listener as a window of Windows.
//
// What this folder holds: the window (win32_dialog_form), its controls (controls), the sizes of
// both (window_metrics), and message boxes (message_box). What the dialog does is none of its
// business: see listener/frm_formula_listener.h.
#pragma once

#include "host/dialog.h"

namespace ktcom {

// The controls' identifiers, for GetDlgItem. None is one of Windows' own (IDOK, IDCANCEL), which
// the keyboard handling of dialogs gives a meaning of its own.
enum DialogControlIdentifier : int {
  kSourcePropertyLabel = 101,
  kSourcePropertyComboBox,
  kFormulaLabel,
  kFormulaTextBox,
  kFormatLabel,
  kFormatTextBox,
  kOKButton,
};

// Also the name under which the window class is registered while a form is loaded.
inline constexpr const wchar_t* kDialogWindowClass = L"frmFormulaListener";

// A form, not loaded yet. It belongs to the thread that loads it. Its owner is the window that was
// active at Load; the user can not use that window while the form is shown. ShowModal handles the
// thread's messages meanwhile.
ktformula::Ref<ktformula::DialogForm> MakeWin32DialogForm();

}  // namespace ktcom

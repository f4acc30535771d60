#include "workbench/windows/modal_dialog.h"

#include <stdexcept>
#include <utility>

#include "contract/com/values.h"

namespace velmora {

using vlmcom::Utf16;
using vlmcom::Utf8;

ModalDialog::ModalDialog(std::wstring_view caption, int width, int height)
    : template_(caption, width, height + 26, DS_MODALFRAME | DS_CENTER | WS_POPUP | WS_CAPTION | WS_SYSMENU),
      width_(width),
      height_(height) {}

void ModalDialog::AddLabel(int id, std::string_view text, DialogPlace place) {
  template_.Add(id, L"STATIC", Utf16(text), SS_LEFT | WS_VISIBLE | WS_GROUP, place);
}

void ModalDialog::AddEdit(int id, DialogPlace place) {
  template_.Add(id, L"EDIT", L"", ES_AUTOHSCROLL | WS_BORDER | WS_TABSTOP | WS_VISIBLE, place);
}

void ModalDialog::AddButton(int id, std::string_view text, DialogPlace place, DWORD style) {
  template_.Add(id, L"BUTTON", Utf16(text), style | WS_TABSTOP | WS_VISIBLE, place);
}

bool ModalDialog::Run(HWND owner) {
  AddButton(IDOK, "OK", {width_ - 116, height_ + 6, 52, 14}, BS_DEFPUSHBUTTON | WS_GROUP);
  AddButton(IDCANCEL, "Cancel", {width_ - 58, height_ + 6, 52, 14}, BS_PUSHBUTTON);
  const INT_PTR answer = DialogBoxIndirectParamW(GetModuleHandleW(nullptr), template_.Data(), owner,
                                                 Procedure, reinterpret_cast<LPARAM>(this));
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
  if (answer < 0) throw std::runtime_error("The system cannot show the dialog.");
  return answer == IDOK;
}

std::string ModalDialog::TextOf(int id) const {
  std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(Item(id))), L'\0');
  if (!text.empty()) GetWindowTextW(Item(id), text.data(), static_cast<int>(text.size()) + 1);
  return Utf8(text);
}

void ModalDialog::SetText(int id, std::string_view text) {
  const bool wasFilling = std::exchange(filling_, true);
  SetWindowTextW(Item(id), Utf16(text).c_str());
  filling_ = wasFilling;
}

void ModalDialog::Complain(int id, std::string_view sentence) {
  MessageBoxW(handle_, Utf16(sentence).c_str(), L"Velmora", MB_OK | MB_ICONEXCLAMATION);
  SetFocus(Item(id));
  SendMessageW(Item(id), EM_SETSEL, 0, -1);
}

INT_PTR CALLBACK ModalDialog::Procedure(HWND handle, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) SetWindowLongPtrW(handle, DWLP_USER, lParam);
  auto* const self = reinterpret_cast<ModalDialog*>(GetWindowLongPtrW(handle, DWLP_USER));
  if (self == nullptr) return FALSE;
  try {
    if (message == WM_INITDIALOG) {
      self->handle_ = handle;
      self->filling_ = true;
      self->Fill();
      self->filling_ = false;
      return TRUE;
    }
    if (message != WM_COMMAND || self->filling_) return FALSE;
    const int id = LOWORD(wParam);
    if (id == IDCANCEL) {
      EndDialog(handle, IDCANCEL);
    } else if (id != IDOK) {
      self->Command(id, HIWORD(wParam));
    } else if (self->Accept()) {
      EndDialog(handle, IDOK);
    }
    return TRUE;
  } catch (...) {
    self->failure_ = std::current_exception();
    EndDialog(handle, IDCANCEL);
    return TRUE;
  }
}

}  // namespace velmora

#include "workbench/windows/native_dialog.h"

#include <commctrl.h>
#include <uxtheme.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <stdexcept>

#include "contract/com/values.h"
#include "workbench/data/code_lists.h"
#include "workbench/dialogs/edit_text.h"
#include "workbench/windows/dialog_template.h"
#include "workbench/windows/icons.h"

namespace velmora {

namespace {

using vlmcom::Utf16;
using vlmcom::Utf8;

constexpr int kDataLineId = 0x7FF0;
constexpr UINT kShowControlMessage = WM_APP;  // to the window itself; wParam: index of the control
constexpr int kDataLineHeight = 12;           // dialog units
// The size that every version of the common controls accepts.
constexpr UINT kToolSize = offsetof(TTTOOLINFOW, lpReserved);
constexpr COLORREF kErrorColour = RGB(255, 225, 222);
constexpr COLORREF kAttributeColour = RGB(0, 64, 160);

struct ControlStyle {
  vlm::ControlClass controlClass;
  const wchar_t* windowClass;
  DWORD style;
};
constexpr ControlStyle kControlStyles[] = {
    {vlm::kButton, L"BUTTON", BS_PUSHBUTTON},
    {vlm::kCheckBox, L"BUTTON", BS_AUTOCHECKBOX},
    {vlm::kRadioButton, L"BUTTON", BS_AUTORADIOBUTTON},
    {vlm::kGroupBox, L"BUTTON", BS_GROUPBOX},
    {vlm::kLabel, L"STATIC", SS_LEFT},
    {vlm::kListCaption, L"STATIC", SS_LEFTNOWORDWRAP | SS_NOPREFIX | SS_ENDELLIPSIS},
    {vlm::kIntegerEdit, L"EDIT", ES_AUTOHSCROLL | WS_BORDER},
    {vlm::kRealEdit, L"EDIT", ES_AUTOHSCROLL | WS_BORDER},
    {vlm::kValueEdit, L"COMBOBOX", CBS_DROPDOWN | CBS_AUTOHSCROLL | WS_VSCROLL},
    {vlm::kDropDown, L"COMBOBOX", CBS_DROPDOWNLIST | WS_VSCROLL},
    {vlm::kTab, WC_TABCONTROLW, WS_CLIPSIBLINGS},
    {vlm::kIconButton, L"BUTTON", BS_PUSHBUTTON},
};

const ControlStyle& StyleOf(vlm::ControlClass controlClass) {
  const auto* const found =
      std::find_if(std::begin(kControlStyles), std::end(kControlStyles),
                   [&](const ControlStyle& row) { return row.controlClass == controlClass; });
  return found == std::end(kControlStyles) ? kControlStyles[0] : *found;
}

// A value edit is a combo box: its list offers the values of its variable.
bool HasList(const Control& control) {
  return control.controlClass == vlm::kDropDown || control.controlClass == vlm::kValueEdit;
}

// The text of a control, or when it has none the caption of its template without the icon's mark.
std::wstring ShownText(const Control& control) {
  return Utf16(control.text.empty() && !control.IsEdit() ? CaptionWithoutIcon(control.caption)
                                                         : control.text);
}

std::wstring TextOfHandle(HWND handle) {
  std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(handle)), L'\0');
  if (!text.empty()) GetWindowTextW(handle, text.data(), static_cast<int>(text.size()) + 1);
  return text;
}

// Sets a text only where it differs: setting it again would move the caret and flicker.
void SetTextIfOther(HWND handle, const std::wstring& text) {
  if (TextOfHandle(handle) != text) SetWindowTextW(handle, text.c_str());
}

void FillItems(HWND list, const Control& control) {
  const auto count = static_cast<std::size_t>(SendMessageW(list, CB_GETCOUNT, 0, 0));
  bool same = count == control.items.size();
  for (std::size_t index = 0; same && index < count; ++index) {
    std::wstring text(static_cast<std::size_t>(SendMessageW(list, CB_GETLBTEXTLEN, index, 0)), L'\0');
    SendMessageW(list, CB_GETLBTEXT, index, reinterpret_cast<LPARAM>(text.data()));
    same = text == Utf16(control.items[index]);
  }
  if (!same) {
    SendMessageW(list, CB_RESETCONTENT, 0, 0);
    for (const std::string& item : control.items) {
      SendMessageW(list, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(Utf16(item).c_str()));
    }
  }
  SendMessageW(list, CB_SETCURSEL, static_cast<WPARAM>(control.selectedItem), 0);
}

bool IsHighContrast() {
  HIGHCONTRASTW setting{};
  setting.cbSize = sizeof setting;
  return SystemParametersInfoW(SPI_GETHIGHCONTRAST, sizeof setting, &setting, 0) &&
         (setting.dwFlags & HCF_HIGHCONTRASTON) != 0;
}

}  // namespace

NativeDialog::NativeDialog(DialogWindow* dialog, std::function<void()> showHelp)
    : dialog_(dialog), showHelp_(std::move(showHelp)), errorBrush_(CreateSolidBrush(kErrorColour)) {}

// Delegates, so that the destructor runs and destroys the windows made so far when a later one
// cannot be made.
NativeDialog::NativeDialog(DialogWindow& dialog, std::function<void()> showHelp)
    : NativeDialog(&dialog, std::move(showHelp)) {
  updating_ = true;
  controls_.resize(dialog.Controls().size());
  handle_ = MakeContainer(-1, nullptr);
  for (std::size_t page = 0; page < dialog.Pages().size(); ++page) {
    pages_.push_back(MakeContainer(static_cast<int>(page), handle_));
  }
  PlacePages();
  balloon_ = MakeTooltip(TTS_BALLOON);
  tips_ = MakeTooltip(0);
  for (std::size_t index = 0; index < controls_.size(); ++index) {
    PlaceIcon(index);
    Show(index);
  }
  ShowDataLine();
  updating_ = false;
  ShowSelectedPage();
  ::ShowWindow(handle_, SW_SHOW);
  // The first control that takes the keyboard focus, chosen as the system does.
  SetFocus(GetNextDlgTabItem(handle_, nullptr, FALSE));
}

NativeDialog::~NativeDialog() {
  dialog_ = nullptr;
  if (handle_ != nullptr) DestroyWindow(handle_);
  for (const HICON icon : icons_) DestroyIcon(icon);
  DeleteObject(errorBrush_);
}

HWND NativeDialog::MakeContainer(int pageIndex, HWND parent) {
  const bool isPage = pageIndex >= 0;
  // The dialog is as large as its controls need; the data line is below them.
  int width = 0, height = 0;
  for (const Control& control : dialog_->Controls()) {
    if (control.pageIndex != pageIndex) continue;
    width = std::max(width, control.x + control.width + 6);
    height = std::max(height, control.y + control.height + 6);
  }
  NativeTemplate description(
      isPage ? std::wstring() : Utf16(dialog_->Caption()), width, isPage ? height : height + kDataLineHeight,
      isPage ? DS_CONTROL | WS_CHILD
             : DS_CENTER | WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX | WS_CLIPCHILDREN,
      isPage ? WS_EX_CONTROLPARENT : WS_EX_APPWINDOW);
  const auto& all = dialog_->Controls();
  for (const Control& control : all) {
    if (control.pageIndex != pageIndex) continue;
    const ControlStyle& row = StyleOf(control.controlClass);
    DWORD style = control.isDefault ? BS_DEFPUSHBUTTON : row.style;
    if (control.tabStop && control.controlClass != vlm::kGroupBox) style |= WS_TABSTOP;
    if (control.groupStart) style |= WS_GROUP;
    if (control.shown) style |= WS_VISIBLE;
    description.Add(control.id, row.windowClass, ShownText(control), style,
                    {control.x, control.y, control.width,
                     control.height + (HasList(control) ? vlm::kDropDownListHeight : 0)});
  }
  if (!isPage) {
    description.Add(kDataLineId, L"STATIC", L"",
                    SS_LEFTNOWORDWRAP | SS_NOPREFIX | SS_ENDELLIPSIS | WS_VISIBLE | WS_GROUP,
                    {6, height, width - 12, 9});
  }
  const HWND container = CreateDialogIndirectParamW(GetModuleHandleW(nullptr), description.Data(), parent,
                                                    Procedure, reinterpret_cast<LPARAM>(this));
  if (container == nullptr) {
    throw std::runtime_error("The system made no window for the dialog \"" + dialog_->Caption() + "\".");
  }
  // The children come in the order of the template.
  HWND child = GetWindow(container, GW_CHILD);
  for (std::size_t index = 0; index < all.size(); ++index) {
    if (all[index].pageIndex != pageIndex) continue;
    controls_[index] = child;
    if (all[index].controlClass == vlm::kTab) tabs_ = child;
    child = GetWindow(child, GW_HWNDNEXT);
  }
  if (!isPage) dataLine_ = child;
  return container;
}

void NativeDialog::PlacePages() {
  if (tabs_ == nullptr) return;
  for (std::size_t page = 0; page < pages_.size(); ++page) {
    std::wstring caption = Utf16(dialog_->Pages()[page].caption);
    TCITEMW item{};
    item.mask = TCIF_TEXT;
    item.pszText = caption.data();
    SendMessageW(tabs_, TCM_INSERTITEMW, page, reinterpret_cast<LPARAM>(&item));
  }
  RECT area;
  GetWindowRect(tabs_, &area);
  MapWindowPoints(nullptr, handle_, reinterpret_cast<POINT*>(&area), 2);
  SendMessageW(tabs_, TCM_ADJUSTRECT, FALSE, reinterpret_cast<LPARAM>(&area));
  HWND above = tabs_;
  for (const HWND page : pages_) {
    // After the tab control in tab order, so that Tab goes from the tabs to the page in front.
    SetWindowPos(page, above, area.left, area.top, area.right - area.left, area.bottom - area.top,
                 SWP_NOACTIVATE);
    above = page;
  }
  // The pages cover the tab control that they follow.
  SetWindowLongPtrW(tabs_, GWL_STYLE, GetWindowLongPtrW(tabs_, GWL_STYLE) | WS_CLIPSIBLINGS);
}

HWND NativeDialog::MakeTooltip(DWORD style) const {
  return CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr,
                         WS_POPUP | TTS_NOPREFIX | TTS_ALWAYSTIP | style, CW_USEDEFAULT, CW_USEDEFAULT,
                         CW_USEDEFAULT, CW_USEDEFAULT, handle_, nullptr, GetModuleHandleW(nullptr), nullptr);
}

// A button too small for its caption shows a picture, and its caption when the pointer rests on it.
void NativeDialog::PlaceIcon(std::size_t controlIndex) {
  const Control& control = dialog_->Controls()[controlIndex];
  if (control.controlClass != vlm::kIconButton) return;
  const HWND button = controls_[controlIndex];
  const std::wstring caption = ShownText(control);
  RECT area;
  GetClientRect(button, &area);
  const HDC device = GetDC(button);
  const HGDIOBJ before =
      SelectObject(device, reinterpret_cast<HGDIOBJ>(SendMessageW(button, WM_GETFONT, 0, 0)));
  SIZE size{};
  GetTextExtentPoint32W(device, caption.c_str(), static_cast<int>(caption.size()), &size);
  SelectObject(device, before);
  ReleaseDC(button, device);
  if (size.cx + 8 <= area.right) return;
  const HICON icon = MakeButtonIcon(control.id);
  if (icon == nullptr) return;
  icons_.push_back(icon);
  SetWindowLongPtrW(button, GWL_STYLE, GetWindowLongPtrW(button, GWL_STYLE) | BS_ICON);
  SendMessageW(button, BM_SETIMAGE, IMAGE_ICON, reinterpret_cast<LPARAM>(icon));
  TTTOOLINFOW tool{};
  tool.cbSize = kToolSize;
  tool.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
  tool.hwnd = handle_;
  tool.uId = reinterpret_cast<UINT_PTR>(button);
  tool.lpszText = const_cast<wchar_t*>(caption.c_str());
  SendMessageW(tips_, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
}

void NativeDialog::ShowControl(int controlId) {
  if (dialog_ == nullptr) return;
  const auto& all = dialog_->Controls();
  for (std::size_t index = 0; index < all.size(); ++index) {
    if (all[index].id == controlId) Show(index);
  }
}

void NativeDialog::Show(std::size_t controlIndex) {
  const Control& control = dialog_->Controls()[controlIndex];
  const HWND window = controls_[controlIndex];
  const bool wasUpdating = std::exchange(updating_, true);
  if (control.controlClass == vlm::kDropDown) {
    FillItems(window, control);
  } else if (control.controlClass != vlm::kTab) {
    SetTextIfOther(window, ShownText(control));
  }
  if (control.controlClass == vlm::kCheckBox || control.controlClass == vlm::kRadioButton) {
    SendMessageW(window, BM_SETCHECK, control.checked ? BST_CHECKED : BST_UNCHECKED, 0);
  }
  if ((GetWindowLongPtrW(window, GWL_STYLE) & WS_VISIBLE ? true : false) != control.shown) {
    ::ShowWindow(window, control.shown ? SW_SHOWNA : SW_HIDE);
  }
  if ((IsWindowEnabled(window) != FALSE) != control.enabled) {
    // A disabled control must not keep the keyboard.
    if (!control.enabled && GetFocus() == window) SendMessageW(handle_, WM_NEXTDLGCTL, 0, FALSE);
    ::EnableWindow(window, control.enabled);
  }
  if (control.IsEdit()) {
    InvalidateRect(window, nullptr, TRUE);
    if (control.error.empty() && window == balloonEdit_) HideBalloon();
  }
  updating_ = wasUpdating;
}

void NativeDialog::ShowSelectedPage() {
  if (dialog_ == nullptr || tabs_ == nullptr) return;
  const int selected = dialog_->SelectedPage();
  SendMessageW(tabs_, TCM_SETCURSEL, static_cast<WPARAM>(selected), 0);
  HideBalloon();
  for (std::size_t page = 0; page < pages_.size(); ++page) {
    ::ShowWindow(pages_[page], static_cast<int>(page) == selected ? SW_SHOWNA : SW_HIDE);
  }
}

void NativeDialog::ShowDataLine() {
  if (dialog_ == nullptr) return;
  const std::string separator = status_.empty() || dialog_->DataLine().empty() ? "" : "   |   ";
  SetTextIfOther(dataLine_, Utf16(dialog_->DataLine() + separator + status_));
}

void NativeDialog::ShowStatus(const std::string& status) {
  status_ = status;
  ShowDataLine();
}

bool NativeDialog::TranslatePageKey(const MSG& message) {
  if (message.message != WM_KEYDOWN || dialog_ == nullptr || pages_.size() < 2 || !IsWindowEnabled(handle_) ||
      GetKeyState(VK_CONTROL) >= 0)
    return false;
  const bool isTab = message.wParam == VK_TAB;
  if (!isTab && message.wParam != VK_PRIOR && message.wParam != VK_NEXT) return false;
  const bool back = isTab ? GetKeyState(VK_SHIFT) < 0 : message.wParam == VK_PRIOR;
  const int count = static_cast<int>(pages_.size());
  dialog_->SelectPage((dialog_->SelectedPage() + (back ? count - 1 : 1)) % count);
  ShowSelectedPage();
  SetFocus(tabs_);
  return true;
}

void NativeDialog::ShowEditError(int controlId, std::string_view text) {
  if (dialog_ == nullptr) return;
  const auto& all = dialog_->Controls();
  for (std::size_t index = 0; index < all.size(); ++index) {
    if (all[index].id != controlId || !all[index].IsEdit()) continue;
    const HWND edit = controls_[index];
    HideBalloon();
    balloonEdit_ = edit;
    tipTexts_.assign(1, Utf16(text));
    TTTOOLINFOW tool{};
    tool.cbSize = kToolSize;
    tool.uFlags = TTF_TRACK | TTF_ABSOLUTE;
    tool.hwnd = handle_;
    tool.uId = 1;
    tool.lpszText = tipTexts_.front().data();
    RECT area;
    GetWindowRect(edit, &area);
    SendMessageW(balloon_, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
    SendMessageW(balloon_, TTM_TRACKPOSITION, 0, MAKELPARAM((area.left + area.right) / 2, area.bottom));
    SendMessageW(balloon_, TTM_TRACKACTIVATE, TRUE, reinterpret_cast<LPARAM>(&tool));
    if (IsWindowEnabled(handle_)) {
      SetFocus(edit);
    } else {
      focusBeforeBlock_ = edit;
    }
    const bool isList = all[index].controlClass == vlm::kValueEdit;
    SendMessageW(edit, isList ? CB_SETEDITSEL : EM_SETSEL, 0, isList ? MAKELPARAM(0, -1) : -1);
    return;
  }
}

void NativeDialog::HideBalloon() {
  balloonEdit_ = nullptr;
  TTTOOLINFOW tool{};
  tool.cbSize = kToolSize;
  tool.hwnd = handle_;
  tool.uId = 1;
  SendMessageW(balloon_, TTM_TRACKACTIVATE, FALSE, reinterpret_cast<LPARAM>(&tool));
  SendMessageW(balloon_, TTM_DELTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
}

void NativeDialog::Block() {
  if (dialog_ == nullptr || dialog_->TakesCommands() || !IsWindowEnabled(handle_)) return;
  const HWND focus = GetFocus();
  focusBeforeBlock_ = focus != nullptr && IsChild(handle_, focus) ? focus : nullptr;
  ::EnableWindow(handle_, FALSE);
}

void NativeDialog::Unblock() {
  if (dialog_ == nullptr || !dialog_->TakesCommands() || IsWindowEnabled(handle_)) return;
  ::EnableWindow(handle_, TRUE);
  if (GetActiveWindow() == nullptr || GetActiveWindow() == handle_) {
    SetActiveWindow(handle_);
    if (focusBeforeBlock_ != nullptr) SetFocus(focusBeforeBlock_);
  }
}

void NativeDialog::Close() {
  dialog_ = nullptr;
  HideBalloon();
  ::ShowWindow(handle_, SW_HIDE);
}

INT_PTR CALLBACK NativeDialog::Procedure(HWND handle, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) SetWindowLongPtrW(handle, GWLP_USERDATA, lParam);
  auto* const self = reinterpret_cast<NativeDialog*>(GetWindowLongPtrW(handle, GWLP_USERDATA));
  return self == nullptr || self->dialog_ == nullptr ? FALSE
                                                     : self->OnMessage(handle, message, wParam, lParam);
}

INT_PTR NativeDialog::OnMessage(HWND handle, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_COMMAND:
      OnCommand(LOWORD(wParam), HIWORD(wParam), reinterpret_cast<HWND>(lParam));
      return TRUE;
    case WM_NOTIFY: {
      const auto* const header = reinterpret_cast<const NMHDR*>(lParam);
      if (header->hwndFrom != tabs_ || header->code != TCN_SELCHANGE || updating_) return FALSE;
      dialog_->SelectPage(static_cast<int>(SendMessageW(tabs_, TCM_GETCURSEL, 0, 0)));
      ShowSelectedPage();
      return TRUE;
    }
    case WM_MOVE:
      if (handle == handle_) HideBalloon();
      return FALSE;
    case WM_CLOSE:
      dialog_->Press(kCancelButton);
      return TRUE;
    case WM_HELP:
      showHelp_();
      return TRUE;
    case kShowControlMessage:
      Show(static_cast<std::size_t>(wParam));
      return TRUE;
    case WM_CTLCOLORDLG:
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLORBTN:
    case WM_CTLCOLOREDIT:
      return ColourOf(handle, reinterpret_cast<HDC>(wParam), reinterpret_cast<HWND>(lParam), message);
    default:
      return FALSE;
  }
}

// Pages have the colour of the inside of the tab control; list captions and edits with an error
// have special colours. Under high contrast all colours are the system's.
INT_PTR NativeDialog::ColourOf(HWND container, HDC device, HWND sender, UINT message) const {
  // The field of a combo box is a window of its own.
  auto found = std::find(controls_.begin(), controls_.end(), sender);
  if (found == controls_.end()) found = std::find(controls_.begin(), controls_.end(), GetParent(sender));
  const Control* const control =
      found == controls_.end() ? nullptr
                               : &dialog_->Controls()[static_cast<std::size_t>(found - controls_.begin())];
  if (message == WM_CTLCOLOREDIT) {
    if (control == nullptr || control->error.empty() || IsHighContrast()) return 0;
    SetBkColor(device, kErrorColour);
    SetTextColor(device, RGB(0, 0, 0));
    return reinterpret_cast<INT_PTR>(errorBrush_);
  }
  // The system asks for a disabled edit's colours as for those of a static text.
  if (control != nullptr && control->IsEdit()) {
    SetBkColor(device, GetSysColor(COLOR_BTNFACE));
    SetTextColor(device, GetSysColor(COLOR_GRAYTEXT));
    return reinterpret_cast<INT_PTR>(GetSysColorBrush(COLOR_BTNFACE));
  }
  const int background = container != handle_ && IsAppThemed() ? COLOR_WINDOW : COLOR_BTNFACE;
  SetBkColor(device, GetSysColor(background));
  if (control == nullptr || IsHighContrast()) return reinterpret_cast<INT_PTR>(GetSysColorBrush(background));
  if (control->controlClass == vlm::kListCaption && control->enabled) SetTextColor(device, kAttributeColour);
  // A label looks like the edit that it precedes.
  if (control->controlClass == vlm::kLabel && control != &dialog_->Controls().back() && control[1].IsEdit() &&
      !control[1].enabled)
    SetTextColor(device, GetSysColor(COLOR_GRAYTEXT));
  return reinterpret_cast<INT_PTR>(GetSysColorBrush(background));
}

void NativeDialog::OnCommand(int controlId, int code, HWND sender) {
  if (updating_) return;
  // The escape key sends the cancel button's command, which the dialog may not have.
  if (sender == nullptr) {
    dialog_->Press(controlId);
    return;
  }
  const auto found = std::find(controls_.begin(), controls_.end(), sender);
  if (found == controls_.end()) return;
  const auto index = static_cast<std::size_t>(found - controls_.begin());
  const Control& control = dialog_->Controls()[index];
  if (control.controlClass == vlm::kValueEdit) {
    if (code == CBN_DROPDOWN) return OfferValues(index);
    if (code == CBN_SELCHANGE) return TakeValue(index);
    if (code == CBN_EDITCHANGE) TakeText(index);
    return;
  }
  if (control.IsEdit()) {
    if (code == EN_CHANGE) TakeText(index);
    return;
  }
  if (control.controlClass == vlm::kDropDown) {
    if (code != CBN_SELCHANGE) return;
    dialog_->ChooseItem(controlId, static_cast<int>(SendMessageW(sender, CB_GETCURSEL, 0, 0)));
  } else {
    if (code != BN_CLICKED) return;
    dialog_->Press(controlId);
  }
  // The window may show a state that the runtime has refused.
  if (dialog_ != nullptr) Show(index);
}

void NativeDialog::TakeText(std::size_t controlIndex) {
  const Control& control = dialog_->Controls()[controlIndex];
  const std::string text = Utf8(TextOfHandle(controls_[controlIndex]));
  if (text == control.text && control.error.empty()) return;
  dialog_->TypeText(control.id, text);
  if (dialog_ != nullptr) Show(controlIndex);
}

// The values are those of the selected cases when the list is opened.
void NativeDialog::OfferValues(std::size_t controlIndex) {
  constexpr std::size_t kMostValues = 1000;  // more than anyone would choose from
  const HWND list = controls_[controlIndex];
  const int variable = dialog_->Controls()[controlIndex].valuesOf;
  const bool wasUpdating = std::exchange(updating_, true);
  const std::wstring text = TextOfHandle(list);
  SendMessageW(list, CB_RESETCONTENT, 0, 0);
  offeredValues_.clear();
  if (variable > 0) {
    const Column& column = dialog_->Data().Variable(variable);
    for (const double value : dialog_->SelectedValues(variable)) {
      if (offeredValues_.size() == kMostValues) break;
      offeredValues_.push_back(PrintCodes(column, std::span(&value, 1)));
      const std::string* const label = column.LabelOf(value);
      const std::string shown =
          offeredValues_.back() + (label == nullptr || label->empty() ? "" : " - " + *label);
      SendMessageW(list, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(Utf16(shown).c_str()));
    }
  }
  SetWindowTextW(list, text.c_str());
  updating_ = wasUpdating;
}

// The list shows values with their labels; the field takes the value alone.
void NativeDialog::TakeValue(std::size_t controlIndex) {
  const HWND list = controls_[controlIndex];
  const LRESULT item = SendMessageW(list, CB_GETCURSEL, 0, 0);
  if (item < 0 || static_cast<std::size_t>(item) >= offeredValues_.size()) return;
  dialog_->TypeText(dialog_->Controls()[controlIndex].id, offeredValues_[static_cast<std::size_t>(item)]);
  // The box sets its own text once this notification has returned.
  PostMessageW(handle_, kShowControlMessage, controlIndex, 0);
}

}  // namespace velmora

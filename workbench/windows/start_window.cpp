#include "workbench/windows/start_window.h"

#include <shellapi.h>

#include <algorithm>
#include <stdexcept>

#include "contract/com/values.h"
#include "workbench/windows/dialog_template.h"
#include "workbench/windows/icons.h"

namespace velmora {

namespace {

using vlmcom::Utf16;
using vlmcom::Utf8;

enum : int {
  kDataText = 100,
  kOpen,
  kFeatureSelection,
  kScreening,
  kWeights,
  kSave,
  kRecentFiles,
  kResults,
  kHelp,
  kResultsText
};

struct Item {
  int id;
  const wchar_t* windowClass;
  const wchar_t* caption;
  DWORD style;
  DialogPlace place;
};
constexpr DWORD kText = SS_LEFT | SS_NOPREFIX | SS_PATHELLIPSIS | WS_VISIBLE;
constexpr DWORD kPushButton = BS_PUSHBUTTON | WS_TABSTOP | WS_VISIBLE;
constexpr Item kItems[] = {
    {kDataText, L"STATIC", L"", kText, {8, 8, 284, 9}},
    {kOpen, L"BUTTON", L"&Open data...", kPushButton | WS_GROUP, {8, 24, 96, 15}},
    {kFeatureSelection, L"BUTTON", L"&Feature selection...", kPushButton, {8, 46, 96, 15}},
    {kScreening, L"BUTTON", L"&Predictor screening...", kPushButton, {8, 64, 96, 15}},
    {kWeights, L"BUTTON", L"Case &weights...", kPushButton, {8, 86, 96, 15}},
    {kSave, L"BUTTON", L"&Save data as...", kPushButton, {8, 104, 96, 15}},
    {kResults, L"BUTTON", L"Show &results", kPushButton, {8, 122, 96, 15}},
    {-1, L"STATIC", L"Recent &files (double-click to open):", SS_LEFT | WS_VISIBLE, {114, 24, 178, 9}},
    {kRecentFiles,
     L"LISTBOX",
     L"",
     LBS_NOTIFY | LBS_NOINTEGRALHEIGHT | WS_BORDER | WS_VSCROLL | WS_HSCROLL | WS_TABSTOP | WS_VISIBLE,
     {114, 35, 178, 102}},
    {kResultsText, L"STATIC", L"", kText, {8, 146, 164, 9}},
    {kHelp, L"BUTTON", L"&Help", kPushButton, {178, 144, 54, 14}},
    {IDCANCEL, L"BUTTON", L"Close", kPushButton, {238, 144, 54, 14}},
};

}  // namespace

StartWindow::StartWindow(StartCommands& commands) : commands_(commands), icon_(MakeProgramIcon()) {
  NativeTemplate description(
      L"Velmora", 300, 165, DS_CENTER | WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX, WS_EX_APPWINDOW);
  for (const Item& item : kItems)
    description.Add(item.id, item.windowClass, item.caption, item.style, item.place);
  handle_ = CreateDialogIndirectParamW(GetModuleHandleW(nullptr), description.Data(), nullptr, Procedure,
                                       reinterpret_cast<LPARAM>(this));
  if (handle_ == nullptr) throw std::runtime_error("The system cannot make the start window.");
  SendMessageW(handle_, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(icon_));
  SendMessageW(handle_, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(icon_));
  DragAcceptFiles(handle_, TRUE);
  Show({});
  ShowWindow(handle_, SW_SHOW);
}

StartWindow::~StartWindow() {
  if (IsWindow(handle_)) DestroyWindow(handle_);
  DestroyIcon(icon_);
}

void StartWindow::Show(const StartState& state) {
  if (!IsWindow(handle_)) return;
  SetDlgItemTextW(
      handle_, kDataText,
      state.data.empty() ? L"No data are open: open a file, or drop one here." : Utf16(state.data).c_str());
  const bool hasData = !state.data.empty();
  for (const int id : {kFeatureSelection, kScreening, kWeights, kSave}) EnableWindow(GetDlgItem(handle_, id), hasData);
  EnableWindow(GetDlgItem(handle_, kResults), !state.resultsFile.empty());
  SetDlgItemTextW(handle_, kResultsText, Utf16(state.resultsFile).c_str());
  if (recentFiles_ == state.recentFiles) return;
  recentFiles_ = state.recentFiles;
  const HWND list = GetDlgItem(handle_, kRecentFiles);
  SendMessageW(list, LB_RESETCONTENT, 0, 0);
  std::size_t longest = 0;
  for (const std::string& file : recentFiles_) {
    const std::wstring text = Utf16(file);
    longest = std::max(longest, text.size());
    SendMessageW(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str()));
  }
  RECT unit = {0, 0, 5, 0};  // dialog units that hold the widest of common letters
  MapDialogRect(handle_, &unit);
  SendMessageW(list, LB_SETHORIZONTALEXTENT, longest * static_cast<std::size_t>(unit.right), 0);
}

INT_PTR CALLBACK StartWindow::Procedure(HWND handle, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) SetWindowLongPtrW(handle, DWLP_USER, lParam);
  auto* const self = reinterpret_cast<StartWindow*>(GetWindowLongPtrW(handle, DWLP_USER));
  return self == nullptr ? FALSE : self->OnMessage(message, wParam, lParam);
}

INT_PTR StartWindow::OnMessage(UINT message, WPARAM wParam, LPARAM /*lParam*/) {
  switch (message) {
    case WM_INITDIALOG:
      return TRUE;
    case WM_COMMAND:
      OnCommand(LOWORD(wParam), HIWORD(wParam));
      return TRUE;
    case WM_HELP:
      Guarded([&] { commands_.ShowHelp(); });
      return TRUE;
    case WM_DROPFILES:
      OnDrop(wParam);
      return TRUE;
    default:
      return FALSE;
  }
}

template <typename Command>
void StartWindow::Guarded(Command command) {
  try {
    command();
  } catch (const std::exception& error) {
    commands_.ShowFailure(error.what());
  }
}

void StartWindow::OnCommand(int controlId, int code) {
  if (controlId == kRecentFiles) {
    if (code == LBN_DBLCLK) OpenSelectedRecentFile();
    return;
  }
  if (controlId == IDOK && GetFocus() == GetDlgItem(handle_, kRecentFiles)) return OpenSelectedRecentFile();
  if (code != BN_CLICKED) return;
  if (controlId == kHelp) return Guarded([&] { commands_.ShowHelp(); });
  if (!commands_.IsReady()) {
    MessageBeep(MB_ICONEXCLAMATION);
    return;
  }
  Guarded([&] {
    switch (controlId) {
      case kOpen:
        return commands_.OpenData();
      case kFeatureSelection:
        return commands_.StartFeatureSelection();
      case kScreening:
        return commands_.StartScreening();
      case kWeights:
        return commands_.ChooseWeights();
      case kSave:
        return commands_.SaveData();
      case kResults:
        return commands_.ShowResults();
      case IDCANCEL:
        if (commands_.MayClose()) DestroyWindow(handle_);
        return;
      default:
        return;
    }
  });
}

void StartWindow::OpenSelectedRecentFile() {
  const LRESULT selected = SendDlgItemMessageW(handle_, kRecentFiles, LB_GETCURSEL, 0, 0);
  if (selected < 0 || static_cast<std::size_t>(selected) >= recentFiles_.size() || !commands_.IsReady())
    return;
  const std::string path = recentFiles_[static_cast<std::size_t>(selected)];
  Guarded([&] { commands_.OpenData(path); });
}

void StartWindow::OnDrop(WPARAM wParam) {
  const auto drop = reinterpret_cast<HDROP>(wParam);
  std::wstring path(DragQueryFileW(drop, 0, nullptr, 0), L'\0');
  DragQueryFileW(drop, 0, path.data(), static_cast<UINT>(path.size()) + 1);
  DragFinish(drop);
  if (!commands_.IsReady()) return;
  Guarded([&] { commands_.OpenData(Utf8(path)); });
}

}  // namespace velmora

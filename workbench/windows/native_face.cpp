#include "workbench/windows/native_face.h"

#include <commctrl.h>
#include <commdlg.h>

#include <array>
#include <utility>

#include "contract/com/values.h"
#include "workbench/windows/dialog_template.h"
#include "workbench/windows/questions.h"

namespace velmora {

namespace {

using vlmcom::Utf16;
using vlmcom::Utf8;

constexpr wchar_t kProduct[] = L"Velmora";
constexpr ULONGLONG kProgressDelay = 400;  // milliseconds before progress is shown
constexpr ULONGLONG kProgressPause = 50;   // between two looks at the display

}  // namespace

// Shown beside a dialog whose command takes its time; its Cancel button is asked for between steps.
class NativeFace::ProgressWindow {
 public:
  ProgressWindow(std::string_view caption, int stepCount, HWND owner) {
    NativeTemplate description(kProduct, 220, 58, DS_CENTER | WS_POPUP | WS_CAPTION | WS_VISIBLE);
    description.Add(kCaption, L"STATIC", Utf16(caption), SS_LEFT | SS_ENDELLIPSIS | WS_VISIBLE,
                    {8, 7, 204, 9});
    description.Add(kBar, PROGRESS_CLASSW, L"", WS_VISIBLE, {8, 20, 204, 11});
    description.Add(IDCANCEL, L"BUTTON", L"Cancel", BS_PUSHBUTTON | WS_TABSTOP | WS_VISIBLE,
                    {156, 38, 56, 14});
    handle_ = CreateDialogIndirectParamW(GetModuleHandleW(nullptr), description.Data(), owner, Procedure,
                                         reinterpret_cast<LPARAM>(this));
    SendMessageW(GetDlgItem(handle_, kBar), PBM_SETRANGE32, 0, stepCount > 0 ? stepCount : 1);
  }
  ~ProgressWindow() { DestroyWindow(handle_); }
  ProgressWindow(const ProgressWindow&) = delete;
  ProgressWindow& operator=(const ProgressWindow&) = delete;

  void Step(int step) const {
    SendMessageW(GetDlgItem(handle_, kBar), PBM_SETPOS, static_cast<WPARAM>(step), 0);
  }
  HWND Handle() const { return handle_; }
  bool IsCancelled() const { return cancelled_; }

 private:
  enum : int { kCaption = 100, kBar = 101 };
  static INT_PTR CALLBACK Procedure(HWND handle, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) SetWindowLongPtrW(handle, DWLP_USER, lParam);
    if (message != WM_COMMAND || LOWORD(wParam) != IDCANCEL) return message == WM_INITDIALOG;
    reinterpret_cast<ProgressWindow*>(GetWindowLongPtrW(handle, DWLP_USER))->cancelled_ = true;
    ::EnableWindow(GetDlgItem(handle, IDCANCEL), FALSE);
    return TRUE;
  }
  HWND handle_ = nullptr;
  bool cancelled_ = false;
};

NativeFace::NativeFace() {
  const INITCOMMONCONTROLSEX classes{
      sizeof classes, ICC_TAB_CLASSES | ICC_PROGRESS_CLASS | ICC_BAR_CLASSES | ICC_STANDARD_CLASSES};
  InitCommonControlsEx(&classes);
}

NativeFace::~NativeFace() = default;

void NativeFace::DispatchOne(MSG& message) {
  const HWND top = GetAncestor(message.hwnd, GA_ROOT);
  if (progress_ && top == progress_->Handle() && IsDialogMessageW(top, &message)) return;
  for (const auto& [dialog, window] : dialogs_) {
    if (top == window->Handle() && IsDialogMessageW(top, &message)) return;
  }
  TranslateMessage(&message);
  DispatchMessageW(&message);
}

void NativeFace::Run(const std::function<void()>& afterEach) {
  MSG message;
  while (!dialogs_.empty() && GetMessageW(&message, nullptr, 0, 0) > 0) {
    DispatchOne(message);
    closed_.clear();
    if (afterEach) afterEach();
  }
  closed_.clear();
}

NativeDialog* NativeFace::WindowOf(const DialogWindow& dialog) {
  const auto found = dialogs_.find(&dialog);
  return found == dialogs_.end() ? nullptr : found->second.get();
}

HWND NativeFace::OwnerFor(const DialogWindow& window) {
  const NativeDialog* const found = WindowOf(window);
  return found == nullptr ? FrontWindow() : found->Handle();
}

HWND NativeFace::FrontWindow() const {
  const HWND active = GetActiveWindow();
  for (const auto& [dialog, window] : dialogs_) {
    if (window->Handle() == active) return active;
  }
  return dialogs_.empty() ? nullptr : dialogs_.begin()->second->Handle();
}

void NativeFace::BlockDialogs() {
  for (const auto& [dialog, window] : dialogs_) window->Block();
}

void NativeFace::Tell(std::string_view sentence, UINT icon) {
  BlockDialogs();
  MessageBoxW(FrontWindow(), Utf16(sentence).c_str(), kProduct, MB_OK | icon);
}

void NativeFace::Notice(std::string_view text) { Tell(text, MB_ICONINFORMATION); }
void NativeFace::Message(std::string_view text) { Tell(text, MB_ICONINFORMATION); }

// A short run ends before a window would have said anything, and showing every step would take longer than the steps.
void NativeFace::ProgressOpened(std::string_view caption, int stepCount) {
  progressCaption_ = caption;
  progressStepCount_ = stepCount;
  progressNextLook_ = GetTickCount64() + kProgressDelay;
}

void NativeFace::ProgressStep(int step) { progressStep_ = step; }

void NativeFace::ProgressClosed() {
  progress_.reset();
  progressNextLook_ = 0;
}

bool NativeFace::CancelPressed() {
  if (progressNextLook_ == 0 || GetTickCount64() < progressNextLook_)
    return progress_ && progress_->IsCancelled();
  BlockDialogs();
  if (!progress_)
    progress_ = std::make_unique<ProgressWindow>(progressCaption_, progressStepCount_, FrontWindow());
  progress_->Step(progressStep_);
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchOne(message);
  progressNextLook_ = GetTickCount64() + kProgressPause;
  return progress_->IsCancelled();
}

void NativeFace::DialogOpened(DialogWindow& window) {
  dialogs_[&window] = std::make_unique<NativeDialog>(window);
}

void NativeFace::ControlChanged(DialogWindow& window, int controlId) {
  if (NativeDialog* const shown = WindowOf(window)) shown->ShowControl(controlId);
}

void NativeFace::PageSelected(DialogWindow& window) {
  if (NativeDialog* const shown = WindowOf(window)) shown->ShowSelectedPage();
}

void NativeFace::DataLineChanged(DialogWindow& window) {
  if (NativeDialog* const shown = WindowOf(window)) shown->ShowDataLine();
}

// Nothing is dispatched while a command runs, so there is nothing to block yet.
void NativeFace::AvailabilityChanged(DialogWindow& window) {
  if (NativeDialog* const shown = WindowOf(window)) shown->Unblock();
}

void NativeFace::DialogClosed(DialogWindow& window) {
  const auto found = dialogs_.find(&window);
  if (found == dialogs_.end()) return;
  found->second->Close();
  closed_.push_back(std::move(found->second));
  dialogs_.erase(found);
}

void NativeFace::ShowEditError(DialogWindow& window, int controlId, std::string_view text) {
  if (NativeDialog* const shown = WindowOf(window)) shown->ShowEditError(controlId, text);
}

void NativeFace::ShowInstructionError(DialogWindow& window, std::string_view text) {
  BlockDialogs();
  MessageBoxW(OwnerFor(window), Utf16(text).c_str(), kProduct, MB_OK | MB_ICONEXCLAMATION);
}

bool NativeFace::AskVariableLists(DialogWindow& window, std::string_view title,
                                  std::vector<VariableListQuestion>& lists) {
  BlockDialogs();
  return AskVariableListsNatively(OwnerFor(window), window.Data(), title, lists);
}

bool NativeFace::AskCodes(DialogWindow& window, CodesQuestion& question) {
  BlockDialogs();
  return AskCodesNatively(OwnerFor(window), window, question);
}

bool NativeFace::AskCaseSelection(DialogWindow& window, CaseSelectionText& selection) {
  BlockDialogs();
  return AskCaseSelectionNatively(OwnerFor(window), selection);
}

bool NativeFace::AskCaseWeight(DialogWindow& window, int& variableNumber) {
  BlockDialogs();
  return AskCaseWeightNatively(OwnerFor(window), window.Data(), variableNumber);
}

namespace {

OPENFILENAMEW FileQuestion(HWND owner, std::array<wchar_t, 32768>& path) {
  OPENFILENAMEW question{};
  question.lStructSize = sizeof question;
  question.hwndOwner = owner;
  question.lpstrFile = path.data();
  question.nMaxFile = static_cast<DWORD>(path.size());
  return question;
}

}  // namespace

std::optional<std::string> NativeFace::AskDataFile(DialogWindow& window) {
  BlockDialogs();
  const auto path = std::make_unique<std::array<wchar_t, 32768>>();
  OPENFILENAMEW question = FileQuestion(OwnerFor(window), *path);
  question.lpstrFilter =
      L"Data files\0*.csv;*.tsv;*.txt;*.parquet;*.json;*.sav;*.zsav;*.por;*.dta;*.sas7bdat;*.xpt\0All "
      L"files\0*.*\0";
  question.lpstrTitle = L"Open data";
  question.Flags = OFN_FILEMUSTEXIST | OFN_HIDEREADONLY | OFN_NOCHANGEDIR;
  if (!GetOpenFileNameW(&question)) return std::nullopt;
  return Utf8(path->data());
}

std::optional<std::string> NativeFace::AskSaveFile(DialogWindow& window, std::string_view title,
                                                   std::string_view extension) {
  BlockDialogs();
  const auto path = std::make_unique<std::array<wchar_t, 32768>>();
  OPENFILENAMEW question = FileQuestion(OwnerFor(window), *path);
  const std::wstring caption = Utf16(title);
  const std::wstring wideExtension = Utf16(extension);
  std::wstring filter = L"*" + wideExtension;
  filter = filter + L'\0' + filter + L'\0' + L"All files" + L'\0' + L"*.*" + L'\0';
  question.lpstrFilter = filter.c_str();
  question.lpstrTitle = caption.c_str();
  if (wideExtension.size() > 1) question.lpstrDefExt = wideExtension.c_str() + 1;  // without the dot
  // Whether a file may be replaced is asked when it is known which files are written.
  question.Flags = OFN_HIDEREADONLY | OFN_NOCHANGEDIR;
  if (!GetSaveFileNameW(&question)) return std::nullopt;
  return Utf8(path->data());
}

bool NativeFace::AskReplaceFiles(DialogWindow& window, const std::vector<std::string>& paths) {
  constexpr std::size_t kMostNamed = 10;
  BlockDialogs();
  std::string text =
      paths.size() == 1 ? "This file exists. Replace it?\n" : "These files exist. Replace them?\n";
  for (std::size_t index = 0; index < std::min(paths.size(), kMostNamed); ++index)
    text += "\n" + paths[index];
  if (paths.size() > kMostNamed) text += "\nand " + std::to_string(paths.size() - kMostNamed) + " more";
  return MessageBoxW(OwnerFor(window), Utf16(text).c_str(), kProduct, MB_YESNO | MB_ICONEXCLAMATION) == IDYES;
}

}  // namespace velmora

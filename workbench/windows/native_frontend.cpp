#include "workbench/windows/native_frontend.h"

#include <commctrl.h>
#include <commdlg.h>

#include <algorithm>
#include <utility>

#include "contract/com/values.h"
#include "workbench/data/file_kinds.h"
#include "workbench/system/system.h"
#include "workbench/windows/dialog_template.h"
#include "workbench/windows/questions.h"

namespace velmora {

namespace {

using vlmcom::Utf16;
using vlmcom::Utf8;

constexpr wchar_t kProduct[] = L"Velmora";
// Raises a count by one as long as it lives.
class CountScope {
 public:
  explicit CountScope(int& count) : count_(count) { ++count_; }
  ~CountScope() { --count_; }
  CountScope(const CountScope&) = delete;
  CountScope& operator=(const CountScope&) = delete;

 private:
  int& count_;
};

constexpr ULONGLONG kProgressDelay = 400;  // milliseconds before progress is shown
constexpr ULONGLONG kProgressPause = 50;   // milliseconds between two updates of the display

}  // namespace

// Shown over a dialog whose command takes long; its Cancel button is read between steps.
class NativeFrontend::ProgressWindow {
 public:
  ProgressWindow(std::string_view caption, int stepCount, HWND owner) {
    NativeTemplate description(kProduct, 220, 58, DS_CENTER | WS_POPUP | WS_CAPTION | WS_VISIBLE);
    description.Add(kCaption, L"STATIC", Utf16(caption), SS_LEFT | SS_ENDELLIPSIS | WS_VISIBLE,
                    {8, 7, 204, 9});
    description.Add(kBar, PROGRESS_CLASSW, L"", WS_VISIBLE, {8, 20, 204, 11});
    description.Add(IDCANCEL, L"BUTTON", L"Cancel", BS_DEFPUSHBUTTON | WS_TABSTOP | WS_VISIBLE,
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

NativeFrontend::NativeFrontend() {
  const INITCOMMONCONTROLSEX classes{
      sizeof classes, ICC_TAB_CLASSES | ICC_PROGRESS_CLASS | ICC_BAR_CLASSES | ICC_STANDARD_CLASSES};
  InitCommonControlsEx(&classes);
}

NativeFrontend::~NativeFrontend() = default;

void NativeFrontend::DispatchOne(MSG& message) {
  const HWND top = GetAncestor(message.hwnd, GA_ROOT);
  if (progress_ && top == progress_->Handle() && IsDialogMessageW(top, &message)) return;
  for (const auto& [dialog, window] : dialogs_) {
    if (top != window->Handle()) continue;
    if (window->TranslatePageKey(message) || IsDialogMessageW(top, &message)) return;
  }
  if (mainWindow_ != nullptr && top == mainWindow_ && IsDialogMessageW(top, &message)) return;
  TranslateMessage(&message);
  DispatchMessageW(&message);
}

void NativeFrontend::Run(const std::function<void()>& afterEach) {
  MSG message;
  const auto isOpen = [&] {
    return mainWindow_ == nullptr ? !dialogs_.empty() : IsWindow(mainWindow_) != FALSE;
  };
  while (isOpen() && GetMessageW(&message, nullptr, 0, 0) > 0) {
    DispatchOne(message);
    closed_.clear();
    if (afterEach) afterEach();
  }
  closed_.clear();
}

NativeDialog* NativeFrontend::WindowOf(const DialogWindow& dialog) {
  const auto found = dialogs_.find(&dialog);
  return found == dialogs_.end() ? nullptr : found->second.get();
}

HWND NativeFrontend::OwnerFor(const DialogWindow& window) {
  const NativeDialog* const found = WindowOf(window);
  return found == nullptr ? FrontWindow() : found->Handle();
}

HWND NativeFrontend::FrontWindow() const {
  const HWND active = GetActiveWindow();
  for (const auto& [dialog, window] : dialogs_) {
    if (window->Handle() == active) return active;
  }
  return dialogs_.empty() ? mainWindow_ : dialogs_.begin()->second->Handle();
}

bool NativeFrontend::IsReady() const {
  return questions_ == 0 && std::all_of(dialogs_.begin(), dialogs_.end(),
                                        [](const auto& entry) { return entry.first->TakesCommands(); });
}

void NativeFrontend::ShowStatus(std::string_view status) {
  status_ = status;
  for (const auto& [dialog, window] : dialogs_) window->ShowStatus(status_);
}

void NativeFrontend::BlockDialogs() {
  for (const auto& [dialog, window] : dialogs_) window->Block();
}

int NativeFrontend::ShowMessage(std::string_view sentence, UINT style) {
  BlockDialogs();
  const CountScope question(questions_);
  return MessageBoxW(FrontWindow(), Utf16(sentence).c_str(), kProduct, style);
}

void NativeFrontend::Notice(std::string_view text) { ShowMessage(text, MB_OK | MB_ICONINFORMATION); }
void NativeFrontend::Message(std::string_view text) { ShowMessage(text, MB_OK | MB_ICONINFORMATION); }

// A short run ends before anybody could read the window, and showing every step would take longer
// than the steps.
void NativeFrontend::ProgressOpened(std::string_view caption, int stepCount) {
  progressCaption_ = caption;
  progressStepCount_ = stepCount;
  progressNextLook_ = GetTickCount64() + kProgressDelay;
}

void NativeFrontend::ProgressStep(int step) { progressStep_ = step; }

void NativeFrontend::ProgressClosed() {
  progress_.reset();
  progressNextLook_ = 0;
}

bool NativeFrontend::CancelPressed() {
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

void NativeFrontend::DialogOpened(DialogWindow& window) {
  const auto& made = dialogs_[&window] = std::make_unique<NativeDialog>(window, [this] { ShowHelp(); });
  made->ShowStatus(status_);
}

void NativeFrontend::ControlChanged(DialogWindow& window, int controlId) {
  if (NativeDialog* const shown = WindowOf(window)) shown->ShowControl(controlId);
}

void NativeFrontend::PageSelected(DialogWindow& window) {
  if (NativeDialog* const shown = WindowOf(window)) shown->ShowSelectedPage();
}

void NativeFrontend::DataLineChanged(DialogWindow& window) {
  if (NativeDialog* const shown = WindowOf(window)) shown->ShowDataLine();
}

// A command that begins dispatches no message yet, so only its end matters here.
void NativeFrontend::AvailabilityChanged(DialogWindow& window) {
  if (NativeDialog* const shown = WindowOf(window)) shown->Unblock();
}

void NativeFrontend::DialogClosed(DialogWindow& window) {
  const auto found = dialogs_.find(&window);
  if (found == dialogs_.end()) return;
  found->second->Close();
  closed_.push_back(std::move(found->second));
  dialogs_.erase(found);
}

void NativeFrontend::ShowEditError(DialogWindow& window, int controlId, std::string_view text) {
  // OK closes the dialog at once and continues with the run, so a message box is shown before.
  if (window.RunningCommand() == kOkButton) {
    const Control* const control = window.Find(controlId);
    ShowMessage(std::string(text) + (control == nullptr ? "" : ": \"" + control->text + "\""),
                MB_OK | MB_ICONEXCLAMATION);
    return;
  }
  if (NativeDialog* const shown = WindowOf(window)) shown->ShowEditError(controlId, text);
}

void NativeFrontend::ShowInstructionError(DialogWindow& window, std::string_view text) {
  BlockDialogs();
  MessageBoxW(OwnerFor(window), Utf16(text).c_str(), kProduct, MB_OK | MB_ICONEXCLAMATION);
}

bool NativeFrontend::AskVariableLists(DialogWindow& window, std::string_view title,
                                      std::vector<VariableListQuestion>& lists) {
  BlockDialogs();
  return AskVariableListsNatively(OwnerFor(window), window.Data(), title, lists);
}

bool NativeFrontend::AskCodes(DialogWindow& window, CodesQuestion& question) {
  BlockDialogs();
  return AskCodesNatively(OwnerFor(window), window, question);
}

bool NativeFrontend::AskCaseSelection(DialogWindow& window, CaseSelectionText& selection) {
  BlockDialogs();
  return AskCaseSelectionNatively(OwnerFor(window), selection);
}

bool NativeFrontend::AskCaseWeight(DialogWindow& window, int& variableNumber) {
  BlockDialogs();
  return AskCaseWeightNatively(OwnerFor(window), window.Data(), variableNumber);
}

namespace {

// One call of the system's file dialogs. filter: pairs of a caption and patterns, each ended by a
// NUL.
class FileQuestion {
 public:
  FileQuestion(HWND owner, std::wstring title, std::wstring filter)
      : path_(32768, L'\0'), title_(std::move(title)), filter_(std::move(filter) + L'\0') {
    question_.lStructSize = sizeof question_;
    question_.hwndOwner = owner;
    question_.lpstrFile = path_.data();
    question_.nMaxFile = static_cast<DWORD>(path_.size());
    question_.lpstrTitle = title_.c_str();
    question_.lpstrFilter = filter_.c_str();
    question_.Flags = OFN_HIDEREADONLY | OFN_NOCHANGEDIR;
  }
  FileQuestion(const FileQuestion&) = delete;
  FileQuestion& operator=(const FileQuestion&) = delete;

  std::optional<std::string> AskOpen() {
    question_.Flags |= OFN_FILEMUSTEXIST;
    if (!GetOpenFileNameW(&question_)) return std::nullopt;
    return Utf8(path_.c_str());
  }
  // extension: with its dot, for a name without one. flags: OFN_OVERWRITEPROMPT or none.
  std::optional<std::string> AskSave(std::string_view proposal, std::string_view extension, DWORD flags) {
    const std::wstring proposed = Utf16(proposal), ending = Utf16(extension);
    if (proposed.size() < path_.size()) proposed.copy(path_.data(), proposed.size());
    if (ending.size() > 1) question_.lpstrDefExt = ending.c_str() + 1;
    question_.Flags |= OFN_PATHMUSTEXIST | flags;
    if (!GetSaveFileNameW(&question_)) return std::nullopt;
    return Utf8(path_.c_str());
  }

 private:
  std::wstring path_, title_, filter_;
  OPENFILENAMEW question_{};
};

std::wstring FilterOf(std::wstring caption, const std::vector<std::string>& extensions) {
  std::wstring filter = std::move(caption) + L'\0';
  for (const std::string& extension : extensions)
    filter += (&extension == &extensions.front() ? L"*" : L";*") + Utf16(extension);
  return filter + L'\0';
}

}  // namespace

std::optional<std::string> NativeFrontend::ChooseDataFile(HWND owner) {
  const CountScope question(questions_);
  return FileQuestion(owner, L"Open data",
                      FilterOf(L"Data files", ReadableExtensions()) + FilterOf(L"All files", {".*"}))
      .AskOpen();
}

std::optional<std::string> NativeFrontend::ChooseTableFile(HWND owner, const std::string& present) {
  std::wstring filter;
  for (const std::string& extension : WritableExtensions())
    filter += FilterOf(Utf16("Table (*" + extension + ")"), {extension});
  const CountScope question(questions_);
  const std::string stem = PathOf(present).stem().string();
  return FileQuestion(owner, L"Save data as", std::move(filter))
      .AskSave(stem + WritableExtensions().front(), WritableExtensions().front(), OFN_OVERWRITEPROMPT);
}

std::optional<std::string> NativeFrontend::AskDataFile(DialogWindow& window) {
  BlockDialogs();
  if (!MayReplaceData()) return std::nullopt;
  return ChooseDataFile(OwnerFor(window));
}

std::optional<std::string> NativeFrontend::AskSaveFile(DialogWindow& window, std::string_view title,
                                                       std::string_view extension) {
  BlockDialogs();
  const std::string pattern(extension);
  // The question whether to replace files comes later, when the names of all files are known.
  return FileQuestion(OwnerFor(window), Utf16(title),
                      FilterOf(Utf16("*" + pattern), {pattern}) + FilterOf(L"All files", {".*"}))
      .AskSave({}, extension, 0);
}

bool NativeFrontend::AskReplaceFiles(DialogWindow& window, const std::vector<std::string>& paths) {
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

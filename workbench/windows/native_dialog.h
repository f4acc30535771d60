// One open dialog of a module as a window of the system: the runtime's controls as child windows,
// its pages on the tab control. It shows the runtime's state and passes on user actions; it keeps
// no state itself.
//
// The windows are made from the runtime's controls, which it has read from the module's compiled
// templates, so positions and styles are the module's. A module that gives its templates as plain
// data looks the same.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/dialogs/dialog_window.h"

namespace velmora {

class NativeDialog {
 public:
  // Throws std::runtime_error when the system makes no window. The window is shown and lives with
  // this object; dialog outlives it. showHelp is called for the help key.
  NativeDialog(DialogWindow& dialog, std::function<void()> showHelp);
  ~NativeDialog();
  NativeDialog(const NativeDialog&) = delete;
  NativeDialog& operator=(const NativeDialog&) = delete;

  HWND Handle() const { return handle_; }

  // Called when the runtime reports a change.
  void ShowControl(int controlId);
  void ShowSelectedPage();
  void ShowDataLine();
  void ShowStatus(const std::string& status);
  void ShowEditError(int controlId, std::string_view text);
  // Ctrl+Tab and Ctrl+Page Up or Down go to another page. True when the message was one of them.
  bool TranslatePageKey(const MSG& message);
  // Disables the window while the dialog takes no commands. Called before messages are dispatched
  // in a command.
  void Block();
  void Unblock();
  // The runtime's dialog has closed: hides the window and forgets the dialog.
  void Close();

 private:
  NativeDialog(DialogWindow* dialog, std::function<void()> showHelp);
  static INT_PTR CALLBACK Procedure(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);
  INT_PTR OnMessage(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);
  void OnCommand(int controlId, int code, HWND sender);
  INT_PTR ColourOf(HWND container, HDC device, HWND sender, UINT message) const;

  HWND MakeContainer(int pageIndex, HWND parent);
  void PlacePages();
  void PlaceIcon(std::size_t controlIndex);
  void Show(std::size_t controlIndex);
  void TakeText(std::size_t controlIndex);
  // Fills the list of a value edit, and takes the item that was chosen in it.
  void OfferValues(std::size_t controlIndex);
  void TakeValue(std::size_t controlIndex);
  void HideBalloon();
  HWND MakeTooltip(DWORD style) const;

  DialogWindow* dialog_;  // null once it has closed
  std::function<void()> showHelp_;
  std::string status_;
  HWND handle_ = nullptr;
  HWND dataLine_ = nullptr;
  HWND tabs_ = nullptr;
  HWND balloon_ = nullptr, tips_ = nullptr;
  HWND balloonEdit_ = nullptr;  // the edit whose error is shown
  HWND focusBeforeBlock_ = nullptr;
  std::vector<HWND> pages_;
  std::vector<HWND> controls_;  // in the order of the runtime's controls
  std::vector<HICON> icons_;
  std::vector<std::string> offeredValues_;  // of the list opened last
  std::vector<std::wstring> tipTexts_;
  HBRUSH errorBrush_ = nullptr;
  bool updating_ = false;  // notifications of the windows are caused by our own calls
};

}  // namespace velmora

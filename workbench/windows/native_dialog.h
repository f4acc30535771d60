// One open dialog of a module as a window of the system: the runtime's controls as child windows, its pages on the
// tab control. It shows the runtime's state and hands on what a person does; it keeps no state of its own.
//
// The windows are made from the runtime's controls, which it has read from the module's compiled templates, so
// places and styles are the module's, and a module that gives its templates as plain data looks the same.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

#include "workbench/dialogs/dialog_window.h"

namespace velmora {

class NativeDialog {
 public:
  // Throws std::runtime_error when the system makes no window. The window is shown and lives with this object;
  // dialog outlives it.
  explicit NativeDialog(DialogWindow& dialog);
  ~NativeDialog();
  NativeDialog(const NativeDialog&) = delete;
  NativeDialog& operator=(const NativeDialog&) = delete;

  HWND Handle() const { return handle_; }
  // The window of the control at this place of the runtime's list.
  HWND ControlHandle(std::size_t controlIndex) const { return controls_[controlIndex]; }
  HWND PageHandle(std::size_t pageIndex) const { return pages_[pageIndex]; }

  // The runtime's news.
  void ShowControl(int controlId);
  void ShowSelectedPage();
  void ShowDataLine();
  void ShowEditError(int controlId, std::string_view text);
  // Lets nobody act while the dialog takes no commands. Called before messages are dispatched within a command.
  void Block();
  void Unblock();
  // The runtime's dialog has closed: the window disappears and stops looking at it.
  void Close();

 private:
  explicit NativeDialog(DialogWindow* dialog);
  static INT_PTR CALLBACK Procedure(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);
  INT_PTR OnMessage(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);
  void OnCommand(int controlId, int code, HWND sender);
  INT_PTR ColourOf(HWND container, HDC device, HWND sender, UINT message) const;

  HWND MakeContainer(int pageIndex, HWND parent);
  void PlacePages();
  void PlaceIcon(std::size_t controlIndex);
  void Show(std::size_t controlIndex);
  void HideBalloon();
  HWND MakeTooltip(DWORD style) const;
  std::string TextOfWindow(HWND handle) const;

  DialogWindow* dialog_;  // null once it has closed
  HWND handle_ = nullptr;
  HWND dataLine_ = nullptr;
  HWND tabs_ = nullptr;
  HWND balloon_ = nullptr, tips_ = nullptr;
  HWND balloonEdit_ = nullptr;  // the edit whose error is shown
  HWND focusBeforeBlock_ = nullptr;
  std::vector<HWND> pages_;
  std::vector<HWND> controls_;  // in the order of the runtime's controls
  std::vector<HICON> icons_;
  std::vector<std::wstring> tipTexts_;
  HBRUSH errorBrush_ = nullptr;
  bool updating_ = false;  // what the windows tell meanwhile is our own doing
};

}  // namespace velmora

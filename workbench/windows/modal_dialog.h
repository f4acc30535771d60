// A modal dialog of the workbench itself: built from a template in memory, run by the system's
// loop.
#pragma once

#include <windows.h>

#include <exception>
#include <string>
#include <string_view>

#include "workbench/windows/dialog_template.h"

namespace velmora {

class ModalDialog {
 public:
  ModalDialog(const ModalDialog&) = delete;
  ModalDialog& operator=(const ModalDialog&) = delete;

  // True for OK. Throws std::runtime_error when the system shows no dialog; rethrows what a handler
  // threw.
  bool Run(HWND owner);

 protected:
  // OK and Cancel are in the lower right corner, below the height given here.
  ModalDialog(std::wstring_view caption, int width, int height);
  virtual ~ModalDialog() = default;

  void AddLabel(int id, std::string_view text, DialogPlace place);
  void AddEdit(int id, DialogPlace place);
  void AddButton(int id, std::string_view text, DialogPlace place, DWORD style);
  NativeTemplate& Template() { return template_; }

  HWND Item(int id) const { return GetDlgItem(handle_, id); }
  HWND Handle() const { return handle_; }
  std::string TextOf(int id) const;
  void SetText(int id, std::string_view text);
  // Shows the error of an entry and moves the keyboard focus there.
  void Complain(int id, std::string_view sentence);

  virtual void Fill() = 0;
  virtual void Command(int /*id*/, int /*code*/) {}
  // Accepts the entries; false keeps the dialog open.
  virtual bool Accept() = 0;

 private:
  static INT_PTR CALLBACK Procedure(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);

  NativeTemplate template_;
  int width_, height_;
  HWND handle_ = nullptr;
  bool filling_ = false;
  std::exception_ptr failure_;  // kept, since no exception may pass through the system's loop
};

}  // namespace velmora

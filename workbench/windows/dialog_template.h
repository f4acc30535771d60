// A dialog template in memory for the system's dialog functions, in the user's message font.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// A position and a size in dialog units.
struct DialogPlace {
  int x = 0, y = 0, width = 0, height = 0;
};

class NativeTemplate {
 public:
  // DS_SETFONT is added to style.
  NativeTemplate(std::wstring_view caption, int width, int height, DWORD style, DWORD extendedStyle = 0);

  // Adds a child control; the order of the calls is the tab order. windowClass: "BUTTON", "EDIT"
  // ...
  void Add(int id, const wchar_t* windowClass, std::wstring_view caption, DWORD style, DialogPlace place);

  const DLGTEMPLATE* Data() const { return reinterpret_cast<const DLGTEMPLATE*>(words_.data()); }

 private:
  void AddText(std::wstring_view text);
  void AddDouble(DWORD value);
  void AddPlace(DialogPlace place);

  std::vector<WORD> words_;
  std::size_t countPosition_ = 0;
};

}  // namespace velmora

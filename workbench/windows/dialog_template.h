// A dialog template in memory, as the system's dialog functions take it, in the font that the user's system shows
// its own messages in.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// Dialog units.
struct DialogPlace {
  int x = 0, y = 0, width = 0, height = 0;
};

class NativeTemplate {
 public:
  // style: besides WS_VISIBLE as the system wants it; the font is set here.
  NativeTemplate(std::wstring_view caption, int width, int height, DWORD style, DWORD extendedStyle = 0);

  // In tab order. windowClass: "BUTTON", "EDIT", ...; the control is a child, visible when the style says so.
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

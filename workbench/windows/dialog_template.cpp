#include "workbench/windows/dialog_template.h"

#include <cstdlib>

namespace velmora {

namespace {

struct SystemFont {
  std::wstring name = L"MS Shell Dlg";
  WORD points = 8;
};

SystemFont MessageFont() {
  SystemFont font;
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof metrics;
  if (!SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, metrics.cbSize, &metrics, 0)) return font;
  const HDC screen = GetDC(nullptr);
  const int points = MulDiv(std::abs(metrics.lfMessageFont.lfHeight), 72, GetDeviceCaps(screen, LOGPIXELSY));
  ReleaseDC(nullptr, screen);
  font.name = metrics.lfMessageFont.lfFaceName;
  if (points > 0) font.points = static_cast<WORD>(points);
  return font;
}

}  // namespace

NativeTemplate::NativeTemplate(std::wstring_view caption, int width, int height, DWORD style,
                               DWORD extendedStyle) {
  const SystemFont font = MessageFont();
  words_ = {1, 0xFFFF};  // an extended template
  AddDouble(0);
  AddDouble(extendedStyle);
  AddDouble(style | DS_SETFONT);
  countPosition_ = words_.size();
  words_.push_back(0);
  AddPlace({0, 0, width, height});
  words_.push_back(0);  // no menu
  words_.push_back(0);  // the dialog's own window class
  AddText(caption);
  words_.push_back(font.points);
  words_.push_back(FW_NORMAL);
  words_.push_back(DEFAULT_CHARSET << 8);  // not italic
  AddText(font.name);
}

void NativeTemplate::Add(int id, const wchar_t* windowClass, std::wstring_view caption, DWORD style,
                         DialogPlace place) {
  if (words_.size() % 2 != 0) words_.push_back(0);  // on a multiple of four bytes
  AddDouble(0);
  AddDouble(0);
  AddDouble(style | WS_CHILD);
  AddPlace(place);
  AddDouble(static_cast<DWORD>(id));
  AddText(windowClass);
  AddText(caption);
  words_.push_back(0);  // no data of its own
  ++words_[countPosition_];
}

void NativeTemplate::AddText(std::wstring_view text) {
  words_.insert(words_.end(), text.begin(), text.end());
  words_.push_back(0);
}

void NativeTemplate::AddDouble(DWORD value) {
  words_.push_back(LOWORD(value));
  words_.push_back(HIWORD(value));
}

void NativeTemplate::AddPlace(DialogPlace place) {
  for (const int number : {place.x, place.y, place.width, place.height}) {
    words_.push_back(static_cast<WORD>(static_cast<short>(number)));
  }
}

}  // namespace velmora

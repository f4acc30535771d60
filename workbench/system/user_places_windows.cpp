#include <windows.h>

#include "workbench/system/system.h"
#include "workbench/system/text_windows.h"
#include "workbench/system/user_places.h"

namespace velmora {

std::filesystem::path UserConfigurationFolder() {
  const std::filesystem::path data = PathOf(EnvironmentVariable("APPDATA"));
  return data.is_absolute() ? data / "Velmora" : std::filesystem::path();
}

std::string UserDecimalSeparator() {
  wchar_t separator[5] = {};
  if (GetLocaleInfoEx(LOCALE_NAME_USER_DEFAULT, LOCALE_SDECIMAL, separator, 5) == 0) return ".";
  return separator[0] == L'\0' ? "." : Utf8Of(separator);
}

}  // namespace velmora

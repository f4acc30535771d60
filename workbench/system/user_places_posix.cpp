#include <langinfo.h>
#include <locale.h>

#include "workbench/system/system.h"
#include "workbench/system/user_places.h"

namespace velmora {

std::filesystem::path UserConfigurationFolder() {
  const std::filesystem::path named = PathOf(EnvironmentVariable("XDG_CONFIG_HOME"));
  if (named.is_absolute()) return named / "velmora";
  const std::filesystem::path home = PathOf(EnvironmentVariable("HOME"));
  return home.is_absolute() ? home / ".config" / "velmora" : std::filesystem::path();
}

std::string UserDecimalSeparator() {
  const locale_t locale = newlocale(LC_NUMERIC_MASK, "", nullptr);
  if (locale == nullptr) return ".";
  const char* const separator = nl_langinfo_l(RADIXCHAR, locale);
  std::string text = separator == nullptr ? "" : separator;
  freelocale(locale);
  return text.empty() ? "." : text;
}

}  // namespace velmora

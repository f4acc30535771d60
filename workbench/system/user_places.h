// What the system knows about the user of the program.
#pragma once

#include <filesystem>
#include <string>

namespace velmora {

// Folder for settings of this program's user: velmora under XDG_CONFIG_HOME or ~/.config, on
// Windows under the roaming application data. Empty when the system names none; it need not exist.
[[nodiscard]] std::filesystem::path UserConfigurationFolder();

// The decimal separator of the user's numbers in UTF-8, one character or several bytes: by LC_ALL,
// LC_NUMERIC or LANG, on Windows by the user's locale. "." when the locale is not installed. The
// process's own locale stays as it is.
[[nodiscard]] std::string UserDecimalSeparator();

}  // namespace velmora

// Shows an address in the user's browser.
#pragma once

#include <string>

namespace velmora {

// By BROWSER, else xdg-open. False when neither can be started.
[[nodiscard]] bool OpenInBrowser(const std::string& address);

}  // namespace velmora

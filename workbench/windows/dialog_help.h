// The help on the dialogs, shown in the browser.
#pragma once

namespace velmora {

// Throws std::runtime_error when the page cannot be written or opened.
void ShowHelpPage();

}  // namespace velmora

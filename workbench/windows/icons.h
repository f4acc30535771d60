// Pictures of the small buttons that every analysis dialog has.
#pragma once

#include <windows.h>

namespace velmora {

// For the buttons of case selection (1001) and case weights (1002); null for another control. The caller destroys it.
HICON MakeButtonIcon(int controlId);

}  // namespace velmora

// Icons of the program and of the small buttons that every analysis dialog has.
#pragma once

#include <windows.h>

namespace velmora {

// For the case selection (1001) and case weights (1002) buttons; null for another control. The
// caller destroys it.
HICON MakeButtonIcon(int controlId);

// The program's own icon. The caller destroys it.
HICON MakeProgramIcon();

}  // namespace velmora

// The system's registry of type libraries.
#pragma once

#include <string>

namespace velmora {

// Registers the type library in a module's resources for the present user, so that scripts and
// other programs find its interfaces; does nothing where there is no such registry. False when it
// could not be done.
bool RegisterTypeLibraryOf(const std::string& moduleFile);

}  // namespace velmora

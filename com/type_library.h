// The system's registry of type libraries.
#pragma once

#include <windows.h>

#include <string>

namespace vlmcom {

// Registers the type library in a file's resources for the present user, so that scripts and other programs find its
// interfaces. Loads no library. Safe while a library is being loaded.
[[nodiscard]] HRESULT RegisterTypeLibraryFile(std::wstring path) noexcept;

}  // namespace vlmcom

// Type libraries in the resources of a library's file, and the system's registry of them.
#pragma once

#include <windows.h>

#include <string>

namespace vlmcom {

// The file of a loaded library; empty when its name is longer than any that the system opens.
[[nodiscard]] std::wstring FileOf(HMODULE library);

// Registers the type library in a file's resources for the present user, so that scripts and other programs find its
// interfaces.
[[nodiscard]] HRESULT RegisterTypeLibraryFile(std::wstring path) noexcept;

}  // namespace vlmcom

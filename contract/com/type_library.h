// Registration of type libraries, those in a module's resources and those in files of their own.
#pragma once

#include <windows.h>

#include <string>

namespace vlmcom {

// The file of a loaded module; empty when the system does not say.
[[nodiscard]] std::wstring FileOf(HMODULE library);

// Registers the type library of a file for the current user, so that other programs find its
// interfaces.
[[nodiscard]] HRESULT RegisterTypeLibraryFile(std::wstring path) noexcept;

// The identity of a type library; kept by whoever registers one, so that its registration can be
// removed even when the file is gone.
struct TypeLibraryVersion {
  GUID id{};
  WORD majorVersion = 0, minorVersion = 0;
};
[[nodiscard]] HRESULT ReadTypeLibraryVersion(const std::wstring& path, TypeLibraryVersion* version) noexcept;

// Removes the registration of RegisterTypeLibraryFile with the keys of its interfaces. S_OK also
// when there is none.
[[nodiscard]] HRESULT UnregisterTypeLibrary(const TypeLibraryVersion& version) noexcept;

}  // namespace vlmcom

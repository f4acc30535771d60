// Type information of automation objects, made at run time from their member tables: what
// GetTypeInfo returns, and the type library that object browsers and early-bound clients read.
//
//   member table -> DescribeInterface -> ITypeInfo of a dispinterface
//                -> WriteTypeLibrary  -> a .tlb file: a dispinterface per table, and a class
#pragma once

#include <windows.h>
// after windows.h
#include <oleauto.h>

#include <span>
#include <string>

#include "contract/automation.h"

namespace vlmcom {

// The identifier of a host object's dispinterface. It depends on the interface's name alone, so it
// is the same in every build and needs no table.
[[nodiscard]] GUID InterfaceIdOf(const vlm::AutomationInterface& description) noexcept;

// The type information of the interface, made at the first call and kept until the process ends. On
// success *information holds a reference of the caller's. description lives as long as the process.
[[nodiscard]] HRESULT DescribeInterface(const vlm::AutomationInterface& description,
                                        ITypeInfo** information) noexcept;

struct TypeLibraryDescription {
  GUID id;
  const wchar_t* name;       // an identifier; scripts write it before a dot: Velmora.Application
  const wchar_t* help;       // shown in lists of type libraries
  GUID classId;              // of the creatable class
  const wchar_t* className;  // its name; differs from the names of the interfaces
  // The default interface of the class.
  const vlm::AutomationInterface* classInterface;
  std::span<const vlm::AutomationInterface* const> interfaces;  // classInterface among them
};

// Writes the library to a file, replacing an older one.
[[nodiscard]] HRESULT WriteTypeLibrary(const TypeLibraryDescription& library,
                                       const std::wstring& file) noexcept;

}  // namespace vlmcom

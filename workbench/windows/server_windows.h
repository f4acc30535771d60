// The workbench as an automation server: registration, the class "Velmora.Application", and the
// life of the process that serves it.
//
//   CreateObject("Velmora.Application") -> the system starts "velmora.exe /automation"
//   -> one application object -> its last object is released -> the process ends
//
// Every application object has a process of its own, and with it its own data and documents.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "workbench/automation/automation_client.h"

namespace velmora {

inline constexpr char kApplicationProgId[] = "Velmora.Application";
inline constexpr char kApplicationClassId[] = "{5B3D0C6A-6C0B-4E0B-9C2B-0A4C7C1B7F52}";
inline constexpr char kObjectLibraryId[] = "{C6F0A1D4-8B1E-4D57-A3F2-51B7E0D94C26}";

// For whom the server is registered: this user, or everybody on the machine.
enum class RegistrationScope { kUser, kMachine };

struct ServerFiles {
  std::string program;  // started with /automation
  std::string module;   // carries the type library of the dialogs
};

// Registers the class, the type library of the dialogs and that of the workbench's own objects,
// which is written to the folder for application data. interfaces: the application's first. Throws
// std::runtime_error with one sentence; then nothing is registered.
void RegisterServer(RegistrationScope scope, const ServerFiles& files,
                    const std::vector<const vlm::AutomationInterface*>& interfaces);
// Removes all of it, also when the files are gone. Throws std::runtime_error with one sentence.
void UnregisterServer(RegistrationScope scope);

// Serves until the last reference is released, or for a minute when no client comes. Calls
// makeApplication once, on the calling thread, when the first client asks; that client receives the
// text of an exception. Throws std::runtime_error when the class cannot be served.
void ServeApplication(const std::function<ObjectReference()>& makeApplication);

}  // namespace velmora

// The workbench as an automation server: registration, the class "Velmora.Application", and the life of the process
// that serves it.
//
//   CreateObject("Velmora.Application") -> the system starts "velmora.exe /automation" -> one application object ->
//   its last object is released -> the process ends
//
// Every application object has a process, and with it data and documents, of its own.
#pragma once

#include <functional>
#include <string>

#include "workbench/automation/automation_client.h"

namespace velmora {

inline constexpr char kApplicationProgId[] = "Velmora.Application";
inline constexpr char kApplicationClassId[] = "{5B3D0C6A-6C0B-4E0B-9C2B-0A4C7C1B7F52}";

// Whose scripts find the server.
enum class RegistrationScope { kUser, kMachine };

// Writes or removes the class's entries of the registry; server: the program's path. Throws std::runtime_error with
// one sentence.
void RegisterServer(RegistrationScope scope, const std::string& server);
void UnregisterServer(RegistrationScope scope);

// Serves until the last reference has gone, or nobody came. makeApplication is called once, on the calling thread,
// when the first client asks; an exception's sentence goes to that client. Returns when the process is to end;
// throws std::runtime_error when it cannot serve. The calling thread's apartment is initialised.
void ServeApplication(const std::function<ObjectReference()>& makeApplication);

}  // namespace velmora

// Folders of the system: where the program keeps files of its own (the list of recent files, a
// registered type library), and the user's documents.
#pragma once

#include <filesystem>

namespace velmora {

enum class ApplicationData { kOfUser, kOfMachine };

// The folder may not exist yet. Throws std::runtime_error when the system has no such folder.
[[nodiscard]] std::filesystem::path ApplicationDataFolder(ApplicationData scope);
[[nodiscard]] std::filesystem::path DocumentsFolder();

}  // namespace velmora

// Making folders, with a reason that names the missing drive or the file in the way.
#pragma once

#include <filesystem>
#include <string>

namespace velmora {

// Makes a folder with those above it. Returns the reason why it cannot be made; empty when the
// folder exists now.
[[nodiscard]] std::string MakeFolders(const std::filesystem::path& folder);

}  // namespace velmora

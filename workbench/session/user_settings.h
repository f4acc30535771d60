// Settings that a user keeps for all sessions: a small JSON file in the user's configuration
// folder, written by `velmora settings`.
//
//   {"profile": {"56236": 1}}      feature selection starts with Chi-square
#pragma once

#include <filesystem>
#include <map>

namespace velmora {

// Entry of the profile: not 0 when feature selection starts with Chi-square, not Cramer's V.
inline constexpr int kProfileChiSquare = 56236;

// Empty when the system names no configuration folder.
std::filesystem::path UserSettingsFile();

// The integers of the profile by entry number; none without the file. Throws DataError naming a
// file that is there and cannot be read.
std::map<int, int> ReadProfile(const std::filesystem::path& file);
// Replaces the file. Throws DataError.
void WriteProfile(const std::filesystem::path& file, const std::map<int, int>& profile);

}  // namespace velmora

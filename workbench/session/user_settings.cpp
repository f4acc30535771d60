#include "workbench/session/user_settings.h"

#include <fstream>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>

#include "base/parse_number.h"
#include "workbench/data/atomic_file.h"
#include "workbench/data/errors.h"
#include "workbench/system/user_places.h"

namespace velmora {

namespace {

constexpr char kProfile[] = "profile";
constexpr std::size_t kLargestFile = 65'536;

[[noreturn]] void Refuse(const std::filesystem::path& file, const std::string& reason) {
  throw DataError("The settings file " + file.string() + " " + reason + "; correct or remove it.");
}

}  // namespace

std::filesystem::path UserSettingsFile() {
  const std::filesystem::path folder = UserConfigurationFolder();
  return folder.empty() ? folder : folder / "settings.json";
}

std::map<int, int> ReadProfile(const std::filesystem::path& file) {
  std::map<int, int> profile;
  std::error_code error;
  if (file.empty() || !std::filesystem::exists(file, error)) return profile;
  std::ifstream stream(file, std::ios::binary);
  if (!stream || !std::filesystem::is_regular_file(file, error)) Refuse(file, "cannot be read");
  if (std::filesystem::file_size(file, error) > kLargestFile) Refuse(file, "is too large");
  const std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
  const nlohmann::json settings = nlohmann::json::parse(text, nullptr, false);
  if (!settings.is_object()) Refuse(file, "is not a JSON object");
  const auto found = settings.find(kProfile);
  if (found == settings.end()) return profile;
  if (!found->is_object()) Refuse(file, "has a \"profile\" that is not a JSON object");
  for (const auto& [name, value] : found->items()) {
    const auto entry = vlm::ParseNumber<int>(name);
    const bool isNumber = value.is_number_integer() && value >= std::numeric_limits<int>::min() &&
                          value <= std::numeric_limits<int>::max();
    if (!entry || !isNumber) Refuse(file, "has \"" + name + "\", which is not a numbered whole number");
    profile[*entry] = value.get<int>();
  }
  return profile;
}

void WriteProfile(const std::filesystem::path& file, const std::map<int, int>& profile) {
  if (file.empty())
    throw DataError("The settings cannot be saved: the system names no folder for them; set HOME.");
  nlohmann::json settings = {{kProfile, nlohmann::json::object()}};
  for (const auto& [entry, value] : profile) settings[kProfile][std::to_string(entry)] = value;
  WriteFileAtomically(file.string(), settings.dump(2) + "\n");
}

}  // namespace velmora

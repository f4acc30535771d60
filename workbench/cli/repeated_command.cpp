#include "workbench/cli/repeated_command.h"

#include <algorithm>

#include "workbench/cli/words.h"
#include "workbench/data/database_address.h"
#include "workbench/data/sha256.h"

#ifndef VELMORA_VERSION
#error "VELMORA_VERSION is defined by the build"
#endif

namespace velmora {
namespace {

// Options that do not change a figure, those with a value first.
constexpr const char* kWithValue[] = {"--out", "--format", "--csv-for", "--log", "--module"};
constexpr const char* kWithoutValue[] = {"--quiet", "--save-bundles"};

}  // namespace

std::string RepeatedCommand(const std::string& command, const std::vector<std::string>& arguments) {
  std::string line = "velmora " + command;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& word = arguments[i];
    const auto is = [&](const char* option) { return word == option; };
    if (std::any_of(std::begin(kWithoutValue), std::end(kWithoutValue), is)) continue;
    if (std::any_of(std::begin(kWithValue), std::end(kWithValue), is)) {
      ++i;
      continue;
    }
    const auto begins = [&](const char* option) { return word.starts_with(std::string(option) + "="); };
    if (std::any_of(std::begin(kWithValue), std::end(kWithValue), begins)) continue;
    line += " " + PosixWord(WithoutPassword(word));
  }
  return line;
}

Provenance ProvenanceOf(const std::string& command, const std::vector<std::string>& arguments,
                        const std::string& dataPath) {
  return {VELMORA_VERSION, Sha256OfFile(dataPath), RepeatedCommand(command, arguments)};
}

}  // namespace velmora

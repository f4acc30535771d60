#include "workbench/cli/repeated_command.h"

#include <algorithm>

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

// Quotes the word for a POSIX shell.
std::string Quoted(const std::string& word) {
  const auto isPlain = [](unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c >= 0x80 ||
           std::string_view("_./,:=+@%-").find(static_cast<char>(c)) != std::string_view::npos;
  };
  if (!word.empty() && std::all_of(word.begin(), word.end(), isPlain)) return word;
  std::string quoted = "'";
  for (const char c : word) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

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
    line += " " + Quoted(WithoutPassword(word));
  }
  return line;
}

Provenance ProvenanceOf(const std::string& command, const std::vector<std::string>& arguments,
                        const std::string& dataPath) {
  return {VELMORA_VERSION, Sha256OfFile(dataPath), RepeatedCommand(command, arguments)};
}

}  // namespace velmora

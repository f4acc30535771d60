// Pieces of the machine-readable results, which are laid out by hand around the values: one line an item, so
// that thousands of predictors neither build a tree in memory nor make one unreadable line.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "workbench/session/analysis_notes.h"

namespace velmora {

using Json = nlohmann::ordered_json;

// Doubles read back to the same bits; what JSON has no number for becomes null; bytes that are not UTF-8
// become the replacement character.
std::string JsonText(const Json& value, int indent = -1);
// text, an indented JSON value, moved one level to the right but for its first line.
std::string Indented(const std::string& text);
Json TextOrNull(const std::string& text);
// null for a missing value.
Json NumberOrNull(double value);
Json LeftOutJson(const std::vector<LeftOutVariable>& leftOut);

}  // namespace velmora

// Pieces of the machine-readable results. Long lists are written item by item, one item per line,
// so that thousands of predictors neither build a tree in memory nor make one unreadable line.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "workbench/session/analysis_notes.h"

namespace velmora {

using Json = nlohmann::ordered_json;

// Doubles read back to the same bits; NaN and infinities become null; bytes that are not UTF-8
// become U+FFFD.
std::string JsonText(const Json& value, int indent = -1);
// An indented JSON value with all lines but the first moved one level to the right.
std::string Indented(const std::string& text);
// A list with one item per line: append(item) adds an item's text, which it indents itself. indent:
// of the line with the closing bracket. An empty list is "[]".
//
//   AppendLines(text, names, "  ", [&](const auto& name) { text += "    " + JsonText(name); });
template <typename Items, typename Append>
void AppendLines(std::string& text, const Items& items, const std::string& indent, Append append) {
  text += "[";
  bool first = true;
  for (const auto& item : items) {
    text += first ? "\n" : ",\n";
    first = false;
    append(item);
  }
  text += first ? "]" : "\n" + indent + "]";
}

Json TextOrNull(const std::string& text);
// null for a missing value.
Json NumberOrNull(double value);
Json LeftOutJson(const std::vector<LeftOutVariable>& leftOut);

}  // namespace velmora

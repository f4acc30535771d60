// What a script gives for several lists at once, taken apart. The module and the host both read
// variables and codes this way, so that a property of a dialog and the answer to its question have
// one notation:
//
//   startup.Variables = "1 | | 2-5 | 6"           a text, the lists between '|'
//   startup.Variables = [1, [], [2, 3, 4, 5], 6]  an array of one item per list
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "contract/automation.h"

namespace vlm {

// The characters of a text value; empty for any other type.
inline std::string_view ListText(const AutomationValue& value) {
  if (value.type != kAutomationText || value.text == nullptr || value.length <= 0) return {};
  return {value.text, static_cast<std::size_t>(value.length)};
}

// The text without the white space around it.
inline std::string_view TrimmedListText(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// One value per list, as views into the value given. A '|' within double quotation marks separates
// nothing. A single list takes an array or a number as a whole, and so does every list the text
// everyList ("*"; empty: no such text). Lists for which nothing is given are empty; the result is
// longer than listCount when too many are given.
inline std::vector<AutomationValue> ListValues(const AutomationValue& value, std::size_t listCount,
                                               std::string_view everyList = {}) {
  std::vector<AutomationValue> lists;
  if (value.type == kAutomationText) {
    const std::string_view text = ListText(value);
    if (listCount > 0 && !everyList.empty() && TrimmedListText(text) == everyList) {
      return std::vector<AutomationValue>(listCount, value);
    }
    std::size_t start = 0;
    bool quoted = false;
    for (std::size_t at = 0; at <= text.size(); ++at) {
      if (at < text.size() && text[at] == '"') quoted = !quoted;
      if (at < text.size() && (text[at] != '|' || quoted)) continue;
      AutomationValue part{};
      part.type = kAutomationText;
      part.text = text.data() + start;
      part.length = static_cast<int>(at - start);
      lists.push_back(part);
      start = at + 1;
    }
  } else if (value.type == kAutomationArray && listCount != 1) {
    if (value.length > 0) lists.assign(value.items, value.items + value.length);
  } else if (value.type == kAutomationIntArray && listCount != 1) {
    for (int index = 0; index < value.length; ++index) {
      lists.push_back(AutomationValue{});
      lists.back().type = kAutomationInt;
      lists.back().intValue = value.integers[index];
    }
  } else if (value.type != kAutomationEmpty) {
    lists.push_back(value);
  }
  if (lists.size() < listCount) lists.resize(listCount, AutomationValue{});
  return lists;
}

// Calls visit(item) for a scalar value, or for each scalar of an array and of the arrays in it, in
// their order.
template <typename Visit>
void ForEachListItem(const AutomationValue& value, Visit&& visit) {
  if (value.type == kAutomationArray) {
    for (int index = 0; index < value.length; ++index) ForEachListItem(value.items[index], visit);
  } else if (value.type == kAutomationIntArray) {
    for (int index = 0; index < value.length; ++index) {
      AutomationValue item{};
      item.type = kAutomationInt;
      item.intValue = value.integers[index];
      visit(item);
    }
  } else if (value.type != kAutomationEmpty) {
    visit(value);
  }
}

}  // namespace vlm

#include "module/feature_selection_ui/variable_texts.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "contract/list_values.h"
#include "module/frame/dispatch.h"
#include "module/frame/variable_lists.h"

namespace vlmfsl {
namespace {

bool IsNone(const vlm::AutomationValue& value) {
  if (value.type == vlm::kAutomationInt) return value.intValue == 0;
  if (value.type != vlm::kAutomationText) return false;
  const std::string text = ToText(value);
  constexpr std::string_view none = "none";
  const std::string_view trimmed = vlm::TrimmedListText(text);
  return std::equal(trimmed.begin(), trimmed.end(), none.begin(), none.end(), [](char a, char b) {
    return (a >= 'A' && a <= 'Z' ? static_cast<char>(a + ('a' - 'A')) : a) == b;
  });
}

}  // namespace

int ReadCountVariable(const vlm::AutomationValue& value, vlm::IAnalysisHost& host) {
  if (IsNone(value)) return 0;
  const std::vector<int> numbers = ReadVariableList(value, host);
  if (numbers.size() > 1) {
    throw AutomationException("CountVariable takes one variable, and " + std::to_string(numbers.size()) +
                              " were given.");
  }
  return numbers.empty() ? 0 : numbers.front();
}

}  // namespace vlmfsl

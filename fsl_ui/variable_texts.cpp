#include "fsl_ui/variable_texts.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "frame/dispatch.h"
#include "frame/module_context.h"
#include "frame/string_sink.h"
#include "resources/text_ids.h"

namespace vlmfsl {
namespace {

class NumberSink final : public vlm::IIntegerSink {
 public:
  void Clear() override { numbers_.clear(); }
  // Without memory the sink stays short and says so afterwards: nothing is thrown into the host.
  void Append(int value) override {
    try {
      numbers_.push_back(value);
    } catch (...) {
      failed_ = true;
    }
  }
  std::vector<int> Take() {
    if (failed_) throw AutomationException(LoadResString(kTextNotEnoughMemory));
    return std::move(numbers_);
  }

 private:
  std::vector<int> numbers_;
  bool failed_ = false;
};

std::string_view Trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// Numbers of the data, each once, in the order of their first place.
std::vector<int> Checked(const std::vector<int>& numbers, int variableCount) {
  std::vector<int> checked;
  checked.reserve(numbers.size());
  std::vector<bool> seen(static_cast<std::size_t>(std::max(variableCount, 0)) + 1);
  for (const int number : numbers) {
    if (number < 1 || number > variableCount) {
      throw AutomationException("There is no variable number " + std::to_string(number) + ": the data have " +
                                std::to_string(variableCount) + " variables.");
    }
    if (seen[static_cast<std::size_t>(number)]) continue;
    seen[static_cast<std::size_t>(number)] = true;
    checked.push_back(number);
  }
  return checked;
}

std::vector<int> ParseList(std::string_view text, vlm::IAnalysisHost& host, int variableCount) {
  text = Trimmed(text);
  if (text.empty()) return {};
  NumberSink numbers;
  StringSink error;
  if (host.ParseVariableList(text.data(), LengthOf(text), &numbers, &error) != 0) {
    throw AutomationException(
        error.Text().empty() ? "\"" + std::string(text) + "\" is not a list of variables." : error.Text());
  }
  return Checked(numbers.Take(), variableCount);
}

std::vector<std::string_view> SplitLists(std::string_view text) {
  std::vector<std::string_view> parts;
  std::size_t start = 0;
  bool quoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') quoted = !quoted;
    if (text[i] != '|' || quoted) continue;
    parts.push_back(text.substr(start, i - start));
    start = i + 1;
  }
  parts.push_back(text.substr(start));
  return parts;
}

std::vector<int> ReadNumbers(const vlm::AutomationValue& value, vlm::IAnalysisHost& host, int variableCount) {
  const auto length = static_cast<std::size_t>(std::max(value.length, 0));
  switch (value.type) {
    case vlm::kAutomationEmpty:
      return {};
    case vlm::kAutomationText:
      return ParseList(ToText(value), host, variableCount);
    case vlm::kAutomationIntArray:
      return Checked(std::vector<int>(value.integers, value.integers + length), variableCount);
    case vlm::kAutomationArray: {
      std::vector<int> numbers;
      for (std::size_t i = 0; i < length; ++i) {
        const std::vector<int> item = ReadNumbers(value.items[i], host, variableCount);
        numbers.insert(numbers.end(), item.begin(), item.end());
      }
      return Checked(numbers, variableCount);
    }
    default:
      return Checked({ToInt(value)}, variableCount);
  }
}

void RequireListCount(std::size_t count) {
  if (count <= std::tuple_size_v<VariableLists>) return;
  throw AutomationException("Variables takes four lists, and " + std::to_string(count) + " were given.");
}

}  // namespace

VariableLists ReadVariableLists(const vlm::AutomationValue& value, vlm::IAnalysisHost& host,
                                int variableCount) {
  VariableLists lists;
  if (value.type == vlm::kAutomationArray) {
    const auto count = static_cast<std::size_t>(std::max(value.length, 0));
    RequireListCount(count);
    for (std::size_t i = 0; i < count; ++i) lists[i] = ReadNumbers(value.items[i], host, variableCount);
    return lists;
  }
  const std::string text = ToText(value);
  const std::vector<std::string_view> parts = SplitLists(text);
  RequireListCount(parts.size());
  for (std::size_t i = 0; i < parts.size(); ++i) lists[i] = ParseList(parts[i], host, variableCount);
  return lists;
}

int ReadCountVariable(const vlm::AutomationValue& value, vlm::IAnalysisHost& host, int variableCount) {
  std::vector<int> numbers;
  if (value.type == vlm::kAutomationText) {
    const std::string text = ToText(value);
    const std::string_view trimmed = Trimmed(text);
    const bool none =
        trimmed.size() == 4 && std::equal(trimmed.begin(), trimmed.end(), "none", [](char a, char b) {
          return (a >= 'A' && a <= 'Z' ? static_cast<char>(a + 32) : a) == b;
        });
    if (none) return 0;
    numbers = ParseList(trimmed, host, variableCount);
  } else if (value.type != vlm::kAutomationInt || value.intValue != 0) {
    numbers = ReadNumbers(value, host, variableCount);
  }
  if (numbers.size() > 1) {
    throw AutomationException("CountVariable takes one variable, and " + std::to_string(numbers.size()) +
                              " were given.");
  }
  return numbers.empty() ? 0 : numbers.front();
}

}  // namespace vlmfsl

#include "module/frame/variable_lists.h"

#include <algorithm>
#include <string>

#include "base/format_text.h"
#include "contract/text.h"
#include "module/frame/dispatch.h"
#include "module/frame/module_context.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {
namespace {

class NumberSink final : public vlm::IIntegerSink {
 public:
  virtual ~NumberSink() = default;
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

// Numbers of the data, each once, in the order of their first place.
std::vector<int> EachOnce(const std::vector<int>& numbers, int variableCount) {
  std::vector<int> checked;
  checked.reserve(numbers.size());
  std::vector<bool> seen(static_cast<std::size_t>(std::max(variableCount, 0)) + 1);
  for (const int number : numbers) {
    if (number < 1 || number > variableCount) {
      throw AutomationException(
          vlm::FormatText(LoadResString(kTextNoSuchVariable),
                          {static_cast<long long>(number), static_cast<long long>(variableCount)}));
    }
    if (seen[static_cast<std::size_t>(number)]) continue;
    seen[static_cast<std::size_t>(number)] = true;
    checked.push_back(number);
  }
  return checked;
}

std::vector<int> ParseList(std::string_view text, vlm::IAnalysisHost& host) {
  text = Trimmed(text);
  if (text.empty()) return {};
  NumberSink numbers;
  vlm::StringSink error;
  if (host.ParseVariableList(text.data(), vlm::LengthOf(text), &numbers, &error) != 0) {
    throw AutomationException(
        error.Text().empty() ? vlm::FormatText(LoadResString(kTextNotAVariableList), {text}) : error.Text());
  }
  return numbers.Take();
}

// Adds the numbers of a value, whatever its form, behind those that are there.
void AppendNumbers(const vlm::AutomationValue& value, vlm::IAnalysisHost& host, std::vector<int>& numbers) {
  const auto length = static_cast<std::size_t>(std::max(value.length, 0));
  const auto append = [&](std::vector<int> more) { numbers.insert(numbers.end(), more.begin(), more.end()); };
  switch (value.type) {
    case vlm::kAutomationEmpty:
      return;
    case vlm::kAutomationText:
      return append(ParseList(ToText(value), host));
    case vlm::kAutomationIntArray:
      return append(std::vector<int>(value.integers, value.integers + length));
    case vlm::kAutomationArray:
      for (std::size_t i = 0; i < length; ++i) AppendNumbers(value.items[i], host, numbers);
      return;
    default:
      numbers.push_back(ToInt(value));
  }
}

void RequireListCount(std::size_t given, std::size_t most) {
  if (given <= most) return;
  throw AutomationException(vlm::FormatText(LoadResString(kTextTooManyLists),
                                            {static_cast<long long>(most), static_cast<long long>(given)}));
}

}  // namespace

std::vector<std::vector<int>> ReadVariableLists(const vlm::AutomationValue& value, vlm::IAnalysisHost& host,
                                                std::size_t listCount) {
  std::vector<std::vector<int>> lists(listCount);
  if (value.type == vlm::kAutomationArray) {
    const auto given = static_cast<std::size_t>(std::max(value.length, 0));
    RequireListCount(given, listCount);
    for (std::size_t i = 0; i < given; ++i) lists[i] = ReadVariableList(value.items[i], host);
    return lists;
  }
  const std::string text = ToText(value);
  const std::vector<std::string_view> parts = SplitLists(text);
  RequireListCount(parts.size(), listCount);
  const int variableCount = host.GetEngineServices()->GetNbVars();
  for (std::size_t i = 0; i < parts.size(); ++i)
    lists[i] = EachOnce(ParseList(parts[i], host), variableCount);
  return lists;
}

std::vector<int> ReadVariableList(const vlm::AutomationValue& value, vlm::IAnalysisHost& host) {
  std::vector<int> numbers;
  AppendNumbers(value, host, numbers);
  return EachOnce(numbers, host.GetEngineServices()->GetNbVars());
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

std::string_view Trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

}  // namespace vlmfsl

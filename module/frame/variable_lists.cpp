#include "module/frame/variable_lists.h"

#include <algorithm>
#include <string>

#include "base/format_text.h"
#include "contract/list_values.h"
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

// The valid variable numbers, each once, in the order of their first occurrence.
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
  text = vlm::TrimmedListText(text);
  if (text.empty()) return {};
  NumberSink numbers;
  vlm::StringSink error;
  if (host.ParseVariableList(text.data(), vlm::LengthOf(text), &numbers, &error) != 0) {
    throw AutomationException(
        error.Text().empty() ? vlm::FormatText(LoadResString(kTextNotAVariableList), {text}) : error.Text());
  }
  return numbers.Take();
}

void RequireListCount(std::size_t given, std::size_t most) {
  if (given <= most) return;
  throw AutomationException(vlm::FormatText(LoadResString(kTextTooManyLists),
                                            {static_cast<long long>(most), static_cast<long long>(given)}));
}

}  // namespace

std::vector<std::vector<int>> ReadVariableLists(const vlm::AutomationValue& value, vlm::IAnalysisHost& host,
                                                std::size_t listCount) {
  if (value.type == vlm::kAutomationEmpty || value.type == vlm::kAutomationObject)
    throw TypeMismatchException();
  const std::vector<vlm::AutomationValue> given = vlm::ListValues(value, listCount);
  RequireListCount(given.size(), listCount);
  std::vector<std::vector<int>> lists;
  for (const vlm::AutomationValue& list : given) lists.push_back(ReadVariableList(list, host));
  return lists;
}

std::vector<int> ReadVariableList(const vlm::AutomationValue& value, vlm::IAnalysisHost& host) {
  std::vector<int> numbers;
  vlm::ForEachListItem(value, [&](const vlm::AutomationValue& item) {
    if (item.type != vlm::kAutomationText) return numbers.push_back(ToInt(item));
    const std::vector<int> named = ParseList(vlm::ListText(item), host);
    numbers.insert(numbers.end(), named.begin(), named.end());
  });
  return EachOnce(numbers, host.GetEngineServices()->GetNbVars());
}

}  // namespace vlmfsl

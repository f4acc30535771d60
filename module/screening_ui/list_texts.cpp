#include "module/screening_ui/list_texts.h"

#include <algorithm>
#include <new>

#include "contract/list_values.h"
#include "contract/text.h"
#include "module/frame/dispatch.h"

namespace vlmfsl {
namespace {

constexpr std::string_view kAllCodes = "*";

ChosenCodes ReadCodes(const vlm::AutomationValue& value, vlm::IAnalysisHost& host, int variable) {
  CodesSink codes(1);
  vlm::StringSink error;
  if (host.ReadCodes(variable, &value, &codes, &error) != 0) throw AutomationException(error.TakeWhole());
  return codes.Take().front();
}

}  // namespace

ChosenCodes* CodesSink::ListAt(int variableIndex) {
  const bool known = variableIndex >= 0 && static_cast<std::size_t>(variableIndex) < lists.size();
  return known ? &lists[static_cast<std::size_t>(variableIndex)] : nullptr;
}

void CodesSink::Clear() {
  for (ChosenCodes& list : lists) list = {};
}

void CodesSink::AppendCode(int variableIndex, double code) {
  ChosenCodes* const list = ListAt(variableIndex);
  if (list == nullptr) return;
  try {
    list->codes.push_back(code);
  } catch (...) {
    failed = true;
  }
}

void CodesSink::ChooseAll(int variableIndex) {
  if (ChosenCodes* const list = ListAt(variableIndex)) list->all = true;
}

std::vector<ChosenCodes> CodesSink::Take() {
  if (failed) throw std::bad_alloc();
  return std::move(lists);
}

std::vector<ChosenCodes> ReadCodeLists(const vlm::AutomationValue& value, vlm::IAnalysisHost& host,
                                       const std::vector<int>& variables) {
  const std::vector<vlm::AutomationValue> given = vlm::ListValues(value, variables.size(), kAllCodes);
  std::vector<ChosenCodes> lists(variables.size());
  const bool none = std::all_of(given.begin(), given.end(), [](const vlm::AutomationValue& list) {
    return list.type == vlm::kAutomationEmpty ||
           (list.type == vlm::kAutomationText && vlm::TrimmedListText(vlm::ListText(list)).empty());
  });
  if (none) return lists;
  if (variables.empty())
    throw AutomationException("Set Variables first: no variable of theirs takes these codes.");
  if (given.size() > variables.size()) {
    throw AutomationException("There are " + std::to_string(given.size()) + " lists of codes; at most " +
                              std::to_string(variables.size()) + " are taken.");
  }
  for (std::size_t i = 0; i < lists.size(); ++i) lists[i] = ReadCodes(given[i], host, variables[i]);
  return lists;
}

std::string PrintCodeLists(const std::vector<ChosenCodes>& lists, vlm::IAnalysisHost& host,
                           const std::vector<int>& variables) {
  const auto isEmpty = [](const ChosenCodes& list) { return list.codes.empty(); };
  if (std::all_of(lists.begin(), lists.end(), isEmpty)) return {};
  std::string text;
  for (std::size_t i = 0; i < lists.size(); ++i) {
    if (i > 0) text += " | ";
    const std::vector<double>& codes = lists[i].codes;
    text += vlm::WholeTextOf([&](vlm::ITextSink* sink) {
      host.PrintCodes(variables[i], codes.data(), static_cast<int>(codes.size()), sink);
    });
  }
  return text;
}

void RenewAllCodes(std::vector<ChosenCodes>& lists, vlm::IAnalysisHost& host,
                   const std::vector<int>& variables) {
  vlm::AutomationValue everything{};
  everything.type = vlm::kAutomationText;
  everything.text = kAllCodes.data();
  everything.length = vlm::LengthOf(kAllCodes);
  for (std::size_t i = 0; i < std::min(lists.size(), variables.size()); ++i) {
    if (lists[i].all) lists[i] = ReadCodes(everything, host, variables[i]);
  }
}

}  // namespace vlmfsl

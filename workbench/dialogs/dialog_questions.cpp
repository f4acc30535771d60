#include "workbench/dialogs/dialog_questions.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "contract/list_values.h"
#include "contract/text.h"
#include "workbench/data/errors.h"
#include "workbench/dialogs/dialog_window.h"
#include "workbench/system/system.h"

namespace velmora {

namespace {

// Ends the loop of a frontend that always gives the same answer.
constexpr int kMostAttempts = 1000;

void RequireListCount(std::size_t given, std::size_t wanted) {
  if (given <= wanted) return;
  throw DataError("There are " + std::to_string(wanted) + " lists to choose, and " + std::to_string(given) +
                  " were given.");
}

}  // namespace

const Variant* DialogQuestions::Scripted(const Variant& answer) const {
  return owner_.UnderAutomation() && !answer.IsEmpty() ? &answer : nullptr;
}

template <typename Ask, typename Use>
bool DialogQuestions::AskUntilTaken(Ask ask, Use use) {
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    try {
      if (!ask()) return false;
      use();
      return true;
    } catch (const DataError& error) {
      frontend_.ShowInstructionError(window_, error.what());
      // A script would give the same answer again.
      if (owner_.UnderAutomation()) {
        owner_.RaiseAutomationError(error.what());
        return false;
      }
    }
  }
  return false;
}

void DialogQuestions::CheckLists(const std::vector<VariableListQuestion>& questions) const {
  const Table& table = owner_.Data();
  std::unordered_map<int, const VariableListQuestion*> listOf;
  for (const VariableListQuestion& question : questions) {
    const std::string list = "The list \"" + PlainCaption(question.caption) + "\" ";
    if (static_cast<int>(question.variables.size()) > question.maximumCount) {
      throw DataError(list + "takes at most " + std::to_string(question.maximumCount) + " variables; " +
                      std::to_string(question.variables.size()) + " were given.");
    }
    for (const int number : question.variables) {
      if (number < 1 || number > table.VariableCount()) {
        throw DataError(list + "names variable " + std::to_string(number) + "; the data have " +
                        std::to_string(table.VariableCount()) + ".");
      }
      const auto [place, isNew] = listOf.emplace(number, &question);
      if (isNew) continue;
      const VariableListQuestion& other = *place->second;
      const std::string name = "The variable " + table.Variable(number).name;
      if (&other == &question) throw DataError(list + "names " + table.Variable(number).name + " twice.");
      if (other.setNumber != 0 && other.setNumber == question.setNumber) continue;
      throw DataError(name + " is in two lists, \"" + PlainCaption(other.caption) + "\" and \"" +
                      PlainCaption(question.caption) + "\"; it can be in one.");
    }
  }
}

std::vector<int> DialogQuestions::VariablesOf(const vlm::AutomationValue& value) const {
  std::vector<int> numbers;
  vlm::ForEachListItem(value, [&](const vlm::AutomationValue& item) {
    if (item.type != vlm::kAutomationText) return numbers.push_back(Variant(item).AsInt());
    const std::vector<int> named = owner_.ParseVariables(vlm::ListText(item));
    numbers.insert(numbers.end(), named.begin(), named.end());
  });
  return numbers;
}

bool DialogQuestions::AskVariableLists(std::string_view title,
                                       std::span<const vlm::VariableListRequest> lists) {
  std::vector<VariableListQuestion> questions;
  for (const vlm::VariableListRequest& list : lists) {
    const int count = std::clamp(*list.count, 0, list.capacity);
    questions.push_back({std::string(vlm::TextOf(list.caption, list.captionLength)), list.variableKind,
                         std::min(list.maximumCount, list.capacity), list.setNumber,
                         std::vector<int>(list.variables, list.variables + count)});
  }
  const auto ask = [&] {
    const Variant* const answer = Scripted(scripted.variables);
    if (answer == nullptr) return frontend_.AskVariableLists(window_, title, questions);
    std::vector<std::vector<vlm::AutomationValue>> storage;
    const auto given = vlm::ListValues(answer->View(storage), questions.size());
    RequireListCount(given.size(), questions.size());
    for (std::size_t index = 0; index < questions.size(); ++index)
      questions[index].variables = VariablesOf(given[index]);
    return true;
  };
  if (!AskUntilTaken(ask, [&] { CheckLists(questions); })) return false;
  for (std::size_t index = 0; index < lists.size(); ++index) {
    const std::vector<int>& chosen = questions[index].variables;
    std::copy(chosen.begin(), chosen.end(), lists[index].variables);
    *lists[index].count = static_cast<int>(chosen.size());
  }
  return true;
}

bool DialogQuestions::AskCodes(std::string_view title, std::span<const vlm::CodesRequest> variables,
                               int shownAtOnce, double minimum, double maximum, vlm::ICodesSink& codes) {
  CodesQuestion question{std::string(title), {}, shownAtOnce, minimum, maximum, {}};
  for (const vlm::CodesRequest& variable : variables) {
    question.variables.push_back(variable.variableNumber);
    question.choices.push_back(
        {std::vector<double>(variable.codes, variable.codes + variable.count), variable.all != 0});
  }
  const auto ask = [&] {
    const Variant* const answer = Scripted(scripted.codes);
    if (answer == nullptr) return frontend_.AskCodes(window_, question);
    std::vector<std::vector<vlm::AutomationValue>> storage;
    const auto given = vlm::ListValues(answer->View(storage), variables.size(), "*");
    RequireListCount(given.size(), variables.size());
    for (std::size_t index = 0; index < variables.size(); ++index) {
      const int number = question.variables[index];
      question.choices[index] = ReadCodes(owner_.Data().Variable(number), given[index],
                                          [&] { return owner_.SelectedValues(number); });
    }
    return true;
  };
  const auto check = [&] {
    question.choices.resize(variables.size());
    for (std::size_t index = 0; index < variables.size(); ++index) {
      for (const double code : question.choices[index].codes) {
        if (code >= minimum && code <= maximum) continue;
        throw DataError("The code " + RealText(code, false, ".") + " of " +
                        owner_.Data().Variable(question.variables[index]).name + " lies outside " +
                        RealText(minimum, false, ".") + " to " + RealText(maximum, false, ".") + ".");
      }
    }
  };
  if (!AskUntilTaken(ask, check)) return false;
  codes.Clear();
  for (std::size_t index = 0; index < variables.size(); ++index) {
    for (const double code : question.choices[index].codes) codes.AppendCode(static_cast<int>(index), code);
    if (question.choices[index].all) codes.ChooseAll(static_cast<int>(index));
  }
  return true;
}

bool DialogQuestions::AskCaseSelection() {
  CaseSelectionText selection = owner_.CaseSelection();
  return AskUntilTaken([&] { return frontend_.AskCaseSelection(window_, selection); },
                       [&] { owner_.SetCaseSelection(selection); });
}

bool DialogQuestions::AskCaseWeight() {
  int variableNumber = owner_.CaseWeight();
  return AskUntilTaken([&] { return frontend_.AskCaseWeight(window_, variableNumber); },
                       [&] { owner_.SetCaseWeight(variableNumber); });
}

bool DialogQuestions::AskDataFile() {
  std::optional<std::string> path;
  return AskUntilTaken([&] { return (path = frontend_.AskDataFile(window_)).has_value(); },
                       [&] { owner_.OpenDataFile(*path); });
}

std::optional<std::string> DialogQuestions::AskSaveFile(std::string_view title, std::string_view extension) {
  const Variant* const answer = Scripted(scripted.saveFileName);
  std::optional<std::string> path =
      answer != nullptr ? answer->AsText() : frontend_.AskSaveFile(window_, title, extension);
  if (!path || path->empty()) return std::nullopt;
  if (path->find('\0') != std::string::npos) {
    if (owner_.UnderAutomation()) owner_.RaiseAutomationError("The file name holds a NUL character.");
    return std::nullopt;
  }
  return path;
}

// A script names its files explicitly and is not asked.
bool DialogQuestions::ConfirmReplacing(std::span<const char* const> paths) {
  if (owner_.UnderAutomation()) return true;
  std::vector<std::string> existing;
  for (const char* const path : paths) {
    std::error_code error;
    if (std::filesystem::exists(PathOf(path), error)) existing.emplace_back(path);
  }
  return existing.empty() || frontend_.AskReplaceFiles(window_, existing);
}

}  // namespace velmora

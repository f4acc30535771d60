// The host's own questions: variables, codes, cases, weights and files. A script answers some of them before they
// are asked; the others go to the face.
#include <algorithm>

#include "contract/text.h"
#include "workbench/data/errors.h"
#include "workbench/dialogs/dialog_window.h"

namespace velmora {

namespace {

// A face that nobody looks at answers the same each time; a person gives up earlier.
constexpr int kMaximumAttempts = 100;

// The parts of a text between marks that stand outside double quotation marks.
std::vector<std::string> SplitOutsideQuotes(std::string_view text, char mark) {
  std::vector<std::string> parts(1);
  bool quoted = false;
  for (const char c : text) {
    if (c == '"') quoted = !quoted;
    if (c == mark && !quoted) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

// What a script gave for several lists, one item each: an array of one value a list, or a text with the lists
// between '|'. One list takes the value itself. Lists that nothing was given for stay empty.
std::vector<Variant> ItemsOf(const Variant& value, std::size_t listCount) {
  std::vector<Variant> items;
  if (listCount == 1 && value.Type() != vlm::kAutomationText) {
    items = {value};
  } else if (value.Type() == vlm::kAutomationArray) {
    items = value.AsArray();
  } else if (value.Type() == vlm::kAutomationText) {
    for (std::string& part : SplitOutsideQuotes(value.AsText(), '|')) items.emplace_back(std::move(part));
  } else {
    items = {value};
  }
  if (items.size() > listCount) {
    throw DataError("There are " + std::to_string(listCount) + " lists to choose, and " +
                    std::to_string(items.size()) + " were given.");
  }
  items.resize(listCount);
  return items;
}

// Numbers and value labels; a label with blanks stands in double quotation marks.
std::vector<double> CodesOf(const Variant& value, const Column& variable) {
  std::vector<double> codes;
  const auto add = [&](const Variant& item) {
    const bool isText = item.Type() == vlm::kAutomationText;
    const double* const labelled = isText ? variable.ValueOf(item.AsText()) : nullptr;
    const std::optional<double> number = isText ? ParseRealText(item.AsText(), ".") : item.AsReal();
    if (labelled == nullptr && !number) {
      throw DataError("\"" + item.AsText() + "\" is neither a code nor a value label of " + variable.name +
                      ".");
    }
    codes.push_back(labelled != nullptr ? *labelled : *number);
  };
  switch (value.Type()) {
    case vlm::kAutomationEmpty:
      break;
    case vlm::kAutomationArray:
      for (const Variant& item : value.AsArray()) add(item);
      break;
    case vlm::kAutomationIntArray:
      for (const int code : value.AsIntegers()) add(code);
      break;
    case vlm::kAutomationText:
      for (std::string word : SplitOutsideQuotes(value.AsText(), ' ')) {
        std::erase(word, '"');
        if (!word.empty()) add(word);
      }
      break;
    default:
      add(value);
  }
  return codes;
}

}  // namespace

const Variant* DialogWindow::ScriptedAnswer(InheritedMember member) const {
  const auto found = resultsSettings_.find(member);
  return owner_.UnderAutomation() && found != resultsSettings_.end() ? &found->second : nullptr;
}

template <typename Ask, typename Use>
bool DialogWindow::AskUntilTaken(Ask ask, Use use) {
  std::string lastReason;
  for (int attempt = 0; attempt < kMaximumAttempts; ++attempt) {
    if (!ask()) return false;
    try {
      use();
      return true;
    } catch (const DataError& error) {
      // A script's answer would be the same again.
      const bool repeated = owner_.UnderAutomation() || lastReason == error.what();
      lastReason = error.what();
      face_.ShowInstructionError(*this, lastReason);
      if (repeated) return false;
    }
  }
  return false;
}

void DialogWindow::CheckLists(const std::vector<VariableListQuestion>& questions) const {
  for (const VariableListQuestion& question : questions) {
    const std::string list = "The list \"" + PlainCaption(question.caption) + "\" ";
    if (static_cast<int>(question.variables.size()) > question.maximumCount) {
      throw DataError(list + "takes at most " + std::to_string(question.maximumCount) + " variables; " +
                      std::to_string(question.variables.size()) + " were given.");
    }
    std::vector<int> sorted = question.variables;
    std::sort(sorted.begin(), sorted.end());
    for (std::size_t index = 0; index < sorted.size(); ++index) {
      if (sorted[index] < 1 || sorted[index] > owner_.Data().VariableCount()) {
        throw DataError(list + "names variable " + std::to_string(sorted[index]) + "; the data have " +
                        std::to_string(owner_.Data().VariableCount()) + ".");
      }
      if (index > 0 && sorted[index] == sorted[index - 1]) {
        throw DataError(list + "names variable " + std::to_string(sorted[index]) + " twice.");
      }
    }
  }
}

int DialogWindow::VariableListsDialog(const char* title, int titleLength,
                                      const vlm::VariableListRequest* lists, int listCount) {
  return Guarded(
      [&] {
        std::vector<VariableListQuestion> questions;
        for (int index = 0; index < listCount; ++index) {
          const vlm::VariableListRequest& list = lists[index];
          const int count = std::clamp(*list.count, 0, list.capacity);
          questions.push_back({std::string(vlm::TextOf(list.caption, list.captionLength)), list.variableKind,
                               std::min(list.maximumCount, list.capacity),
                               std::vector<int>(list.variables, list.variables + count)});
        }
        const std::vector<VariableListQuestion> asked = questions;
        const Variant* const scripted = ScriptedAnswer(kResultsVariables);
        const auto ask = [&] {
          if (scripted == nullptr)
            return face_.AskVariableLists(*this, vlm::TextOf(title, titleLength), questions);
          const std::vector<Variant> given = ItemsOf(*scripted, questions.size());
          for (std::size_t index = 0; index < questions.size(); ++index) {
            const Variant& item = given[index];
            questions[index].variables = item.IsEmpty() ? std::vector<int>()
                                         : item.Type() == vlm::kAutomationText
                                             ? owner_.ParseVariables(item.AsText())
                                             : item.AsIntegers();
          }
          return true;
        };
        if (!AskUntilTaken(ask, [&] { CheckLists(questions); })) return 0;
        for (int index = 0; index < listCount; ++index) {
          const std::vector<int>& chosen = questions[static_cast<std::size_t>(index)].variables;
          std::copy(chosen.begin(), chosen.end(), lists[index].variables);
          *lists[index].count = static_cast<int>(chosen.size());
        }
        return 1;
      },
      0);
}

int DialogWindow::CodesListDialog(const char* title, int titleLength, const int* variables, int variableCount,
                                  int shownAtOnce, double minimum, double maximum, vlm::ICodesSink* codes) {
  return Guarded(
      [&] {
        CodesQuestion question{std::string(vlm::TextOf(title, titleLength)),
                               {variables, variables + variableCount},
                               shownAtOnce,
                               minimum,
                               maximum,
                               {}};
        question.codes.resize(static_cast<std::size_t>(variableCount));
        const Variant* const scripted = ScriptedAnswer(kResultsCodes);
        const auto ask = [&] {
          if (scripted == nullptr) return face_.AskCodes(*this, question);
          const std::vector<Variant> given = ItemsOf(*scripted, question.codes.size());
          for (std::size_t index = 0; index < question.codes.size(); ++index) {
            question.codes[index] = CodesOf(given[index], owner_.Data().Variable(variables[index]));
          }
          return true;
        };
        const auto check = [&] {
          question.codes.resize(static_cast<std::size_t>(variableCount));
          for (const std::vector<double>& list : question.codes) {
            for (const double code : list) {
              if (code >= minimum && code <= maximum) continue;
              throw DataError("The code " + RealText(code, false, ".") + " lies outside " +
                              RealText(minimum, false, ".") + " to " + RealText(maximum, false, ".") + ".");
            }
          }
        };
        if (!AskUntilTaken(ask, check)) return 0;
        codes->Clear();
        for (int index = 0; index < variableCount; ++index) {
          for (const double code : question.codes[static_cast<std::size_t>(index)])
            codes->AppendCode(index, code);
        }
        return 1;
      },
      0);
}

int DialogWindow::DefineSelCond() {
  return Guarded(
      [&] {
        CaseSelectionText selection = owner_.CaseSelection();
        return AskUntilTaken([&] { return face_.AskCaseSelection(*this, selection); },
                             [&] {
                               owner_.SetCaseSelection(selection);
                               RefreshDataLine();
                             })
                   ? 1
                   : 0;
      },
      0);
}

int DialogWindow::DefineWeight() {
  return Guarded(
      [&] {
        int variableNumber = owner_.CaseWeight();
        return AskUntilTaken([&] { return face_.AskCaseWeight(*this, variableNumber); },
                             [&] {
                               owner_.SetCaseWeight(variableNumber);
                               RefreshDataLine();
                             })
                   ? 1
                   : 0;
      },
      0);
}

int DialogWindow::OpenQvdFile() {
  return Guarded(
      [&] {
        std::optional<std::string> path;
        const auto ask = [&] { return (path = face_.AskDataFile(*this)).has_value(); };
        return AskUntilTaken(ask,
                             [&] {
                               owner_.OpenDataFile(*path);
                               RefreshDataLine();
                             })
                   ? 1
                   : 0;
      },
      0);
}

int DialogWindow::SaveFileDialog(const char* title, int titleLength, const char* extension,
                                 int extensionLength, vlm::ITextSink* path) {
  return Guarded(
      [&] {
        std::optional<std::string> answer;
        if (const Variant* const scripted = ScriptedAnswer(kResultsSaveFileName)) {
          answer = scripted->AsText();
        } else {
          answer = face_.AskSaveFile(*this, vlm::TextOf(title, titleLength),
                                     vlm::TextOf(extension, extensionLength));
        }
        if (!answer || answer->empty()) return 0;
        path->Assign(answer->data(), vlm::LengthOf(*answer));
        return 1;
      },
      0);
}

}  // namespace velmora

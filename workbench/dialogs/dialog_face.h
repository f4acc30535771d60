// What shows dialogs to somebody: nobody (tests, scripts, the command line), native windows or a page. The
// runtime keeps every control's state and calls the face when something is to be shown or asked; a face that
// lets a person act calls DialogWindow::Press and the Type functions.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class DialogWindow;

// One list of a variable dialog, as asked and as answered.
struct VariableListQuestion {
  std::string caption;
  int variableKind = 0;  // 1 categorical, 2 continuous, 0 any: what is offered first
  int maximumCount = 0;
  std::vector<int> variables;  // 1-based; the present choice going in, the answer coming out
};

struct CodesQuestion {
  std::string title;
  std::vector<int> variables;  // 1-based
  int shownAtOnce = 0;
  double minimum = 0, maximum = 0;         // codes outside are refused
  std::vector<std::vector<double>> codes;  // one list a variable, going in and out
};

// Which cases are used: expressions over the variables, empty for none.
struct CaseSelectionText {
  std::string include;
  std::string exclude;
};

// The answers of a face that nobody looks at are those of a user who cancels every question.
class DialogFace {
 public:
  virtual ~DialogFace() = default;

  virtual void DialogOpened(DialogWindow& /*window*/) {}
  virtual void ControlChanged(DialogWindow& /*window*/, int /*controlId*/) {}
  virtual void DialogClosed(DialogWindow& /*window*/) {}

  virtual void ShowEditError(DialogWindow& /*window*/, int /*controlId*/, std::string_view /*text*/) {}
  virtual void ShowInstructionError(DialogWindow& /*window*/, std::string_view /*text*/) {}

  // Each returns false, or nothing, for Cancel. An answer that the host refuses (unknown variable, too many)
  // is reported by ShowInstructionError and asked again while attempts are left.
  virtual bool AskVariableLists(DialogWindow& /*window*/, std::string_view /*title*/,
                                std::vector<VariableListQuestion>& /*lists*/) {
    return false;
  }
  virtual bool AskCodes(DialogWindow& /*window*/, CodesQuestion& /*question*/) { return false; }
  virtual bool AskCaseSelection(DialogWindow& /*window*/, CaseSelectionText& /*selection*/) { return false; }
  // variableNumber: 0 for no weights.
  virtual bool AskCaseWeight(DialogWindow& /*window*/, int& /*variableNumber*/) { return false; }
  virtual std::optional<std::string> AskDataFile(DialogWindow& /*window*/) { return std::nullopt; }
  virtual std::optional<std::string> AskSaveFile(DialogWindow& /*window*/, std::string_view /*title*/,
                                                 std::string_view /*extension*/) {
    return std::nullopt;
  }
};

}  // namespace velmora
